// SPDX-License-Identifier: Apache-2.0
#include "Report.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iomanip>

namespace trafsim {

namespace {

// Columns as wide as their widest cell, numbers right-aligned.
void printTable(std::ostream& out, const std::string& title,
                const std::vector<std::vector<std::string>>& rows) {
  out << '\n' << title << '\n';
  std::vector<std::size_t> widths(rows.front().size(), 0);
  for (const auto& row : rows) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], row[column].size());
    }
  }
  for (const auto& row : rows) {
    out << ' ';
    for (std::size_t column = 0; column < row.size(); ++column) {
      const bool number =
          !row[column].empty() &&
          std::isdigit(static_cast<unsigned char>(row[column].front())) != 0;
      out << "  " << (number ? std::right : std::left)
          << std::setw(static_cast<int>(widths[column])) << row[column];
    }
    out << '\n';
  }
}

// The diagram's id of a party; a client's is its name's, and a client
// without a name stands for any client module.
std::string partyId(Party party, const std::string& client) {
  const std::string id(1, "PTDH"[static_cast<int>(party)]);
  return party != Party::Client ? id
         : client.empty()       ? "client"
                                : "C_" + client;
}

// Mermaid ends a message at ';' and starts a comment at '#'; both have
// entity codes that the diagram shows as the character.
std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    out += c == ';' ? "#59;" : c == '#' ? "#35;" : std::string(1, c);
  }
  return out;
}

}  // namespace

std::string byteCount(std::size_t length) {
  return std::to_string(length) + (length == 1 ? " byte" : " bytes");
}

void Report::line(const std::string& text) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (!m_quiet) {
    m_out << text << '\n';
  }
}

void Report::trace(const standin::TraceRecord& record, bool transport) {
  // The text is quoted so that its leading and trailing blanks show.
  std::string text = std::string(transport ? "    [transport] " : "    ") +
                     record.object + " L" +
                     std::to_string(static_cast<unsigned>(record.level)) + ' ' +
                     record.function + ':' + std::to_string(record.line);
  text += record.entry ? " ->" : "";
  if (!record.entry || !record.text.empty()) {
    text += " \"" + record.text + '"';
  }
  line(text);
  if (record.level == QEL_TRACE_LEVEL_1) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sequence.push_back("  Note over T: " +
                         escaped("L1 \"" + record.text + '"'));
  }
}

void Report::count(Traffic traffic, std::uint32_t channel,
                   std::uint32_t portId) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  ++m_traffic[{channel, portId}][static_cast<std::size_t>(traffic)];
}

std::uint64_t Report::counted(Traffic traffic, std::uint32_t channel,
                              std::uint32_t portId) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto it = m_traffic.find({channel, portId});
  return it == m_traffic.end() ? 0
                               : it->second[static_cast<std::size_t>(traffic)];
}

void Report::phaseRun(const std::string& phase, unsigned int moduleId,
                      unsigned int status) {
  char hex[16] = "";
  if (status != 0) {
    (void)std::snprintf(hex, sizeof hex, " (0x%x)", status);
  }
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_phases.push_back(
      {phase, std::to_string(moduleId), std::to_string(status) + hex});
}

void Report::expectation(const std::string& where, const std::string& failure) {
  line(failure.empty() ? "    ok" : "    FAILED " + where + ": " + failure);
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (failure.empty()) {
    ++m_met;
  } else {
    m_failures.push_back(where + ": " + failure);
  }
}

bool Report::finish() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (!m_quiet) {
    std::vector<Row> traffic{{"channel", "port id"}};
    traffic[0].insert(traffic[0].end(), std::begin(kTrafficNames),
                      std::end(kTrafficNames));
    for (const auto& [key, counts] : m_traffic) {
      traffic.push_back(
          {std::to_string(key.first), std::to_string(key.second)});
      for (const std::uint64_t count : counts) {
        traffic.back().push_back(std::to_string(count));
      }
    }
    printTable(m_out, "Messages per channel and port", traffic);
    printTable(m_out, "Phases", m_phases);
    printTable(m_out, "Expectations",
               {{"met", "failed"},
                {std::to_string(m_met), std::to_string(m_failures.size())}});
    m_out << '\n';
  }
  if (m_failures.empty()) {
    m_out << "All " << m_met << " expectations met.\n";
    return true;
  }
  m_out << m_failures.size() << " of " << (m_met + m_failures.size())
        << " expectations failed:\n";
  for (const std::string& failure : m_failures) {
    m_out << "  " << failure << '\n';
  }
  return false;
}

void Report::add(Party from, Party to, const char* arrow,
                 const std::string& text, const std::string& client) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if ((from == Party::Client || to == Party::Client) &&
      std::find(m_clients.begin(), m_clients.end(), client) ==
          m_clients.end()) {
    m_clients.push_back(client);
  }
  m_sequence.push_back("  " + partyId(from, client) + arrow +
                       partyId(to, client) + ": " + escaped(text));
}

void Report::writeSequence(std::ostream& out) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  out << "sequenceDiagram\n"
      << "  participant P as Platform\n"
      << "  participant T as TrafHandler\n"
      << "  participant D as Drivers\n"
      << "  participant H as HCC-D handler\n";
  for (const std::string& client : m_clients) {
    out << "  participant " << partyId(Party::Client, client) << " as "
        << (client.empty() ? "client module" : "client " + client) << '\n';
  }
  for (const std::string& line : m_sequence) {
    out << line << '\n';
  }
}

}  // namespace trafsim
