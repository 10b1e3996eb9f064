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
  std::vector<std::size_t> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()), 0);
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

std::string hexStatus(unsigned int status) {
  std::ostringstream text;
  text << status;
  if (status != 0) {
    text << " (0x" << std::hex << status << ')';
  }
  return text.str();
}

}  // namespace

std::uint64_t& Summary::slot(Counts& counts, Traffic traffic) {
  switch (traffic) {
    case Traffic::Sent:
      return counts.sent;
    case Traffic::Dropped:
      return counts.dropped;
    case Traffic::Refused:
      return counts.refused;
    case Traffic::Delivered:
      return counts.delivered;
  }
  return counts.sent;
}

void Summary::count(Traffic traffic, std::uint32_t channel,
                    std::uint32_t portId) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  ++slot(m_traffic[{channel, portId}], traffic);
}

std::uint64_t Summary::counted(Traffic traffic, std::uint32_t channel,
                               std::uint32_t portId) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto it = m_traffic.find({channel, portId});
  if (it == m_traffic.end()) {
    return 0;
  }
  Counts counts = it->second;
  return slot(counts, traffic);
}

void Summary::phaseRun(const std::string& phase, unsigned int moduleId,
                       unsigned int status) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_phases.push_back({phase, moduleId, status});
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
  std::vector<Row> traffic{
      {"channel", "port id", "sent", "dropped", "refused", "delivered"}};
  for (const auto& entry : m_traffic) {
    const Counts& counts = entry.second;
    traffic.push_back(
        {std::to_string(entry.first.first), std::to_string(entry.first.second),
         std::to_string(counts.sent), std::to_string(counts.dropped),
         std::to_string(counts.refused), std::to_string(counts.delivered)});
  }
  printTable(out, "Messages per channel and port", traffic);

  std::vector<Row> phases{{"phase", "module", "result"}};
  for (const PhaseRun& run : m_phases) {
    phases.push_back(
        {run.phase, std::to_string(run.moduleId), hexStatus(run.status)});
  }
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
