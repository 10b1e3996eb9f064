#include "Summary.h"

#include <algorithm>
#include <cctype>
#include <iomanip>
#include <sstream>

namespace trafsim {

namespace {

using Row = std::vector<std::string>;

// Columns as wide as their widest cell, numbers right-aligned.
void printTable(std::ostream& out, const std::string& title,
                const std::vector<Row>& rows) {
  out << '\n' << title << '\n';
  std::vector<std::size_t> widths(rows.front().size(), 0);
  for (const Row& row : rows) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], row[column].size());
    }
  }
  for (const Row& row : rows) {
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

}  // namespace

void Summary::count(Traffic traffic, std::uint32_t channel,
                    std::uint32_t portId) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  ++m_traffic[{channel, portId}][static_cast<std::size_t>(traffic)];
}

std::uint64_t Summary::counted(Traffic traffic, std::uint32_t channel,
                               std::uint32_t portId) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto it = m_traffic.find({channel, portId});
  return it == m_traffic.end() ? 0
                               : it->second[static_cast<std::size_t>(traffic)];
}

void Summary::phaseRun(const std::string& phase, unsigned int moduleId,
                       unsigned int status) {
  std::ostringstream result;
  result << status;
  if (status != 0) {
    result << " (0x" << std::hex << status << ')';
  }
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_phases.push_back({phase, std::to_string(moduleId), result.str()});
}

void Summary::met() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  ++m_met;
}

void Summary::failed(const std::string& where, const std::string& what) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_failures.push_back(where + ": " + what);
}

std::size_t Summary::failures() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_failures.size();
}

void Summary::print(std::ostream& out) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  std::vector<Row> traffic{{"channel", "port id"}};
  traffic[0].insert(traffic[0].end(), std::begin(kTrafficNames),
                    std::end(kTrafficNames));
  for (const auto& [key, counts] : m_traffic) {
    traffic.push_back({std::to_string(key.first), std::to_string(key.second)});
    for (const std::uint64_t count : counts) {
      traffic.back().push_back(std::to_string(count));
    }
  }
  printTable(out, "Messages per channel and port", traffic);
  std::vector<Row> phases{{"phase", "module", "result"}};
  phases.insert(phases.end(), m_phases.begin(), m_phases.end());
  printTable(out, "Phases", phases);
  printTable(out, "Expectations",
             {{"met", "failed"},
              {std::to_string(m_met), std::to_string(m_failures.size())}});
}

void Summary::printVerdict(std::ostream& out) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (m_failures.empty()) {
    out << "All " << m_met << " expectations met.\n";
    return;
  }
  out << m_failures.size() << " of " << (m_met + m_failures.size())
      << " expectations failed:\n";
  for (const std::string& failure : m_failures) {
    out << "  " << failure << '\n';
  }
}

}  // namespace trafsim
