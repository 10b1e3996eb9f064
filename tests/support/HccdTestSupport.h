// HCC-D test helpers: channels and port ids of any value, and the port
// numbering tables as rows, taken from the node's facts.
#ifndef TESTS_SUPPORT_HCCDTESTSUPPORT_H
#define TESTS_SUPPORT_HCCDTESTSUPPORT_H

#include <cstdint>
#include <ostream>
#include <vector>

#include "ITrafHandler.h"
#include "NodeFacts.h"

namespace testsupport {

using nodefacts::kNoPort;

// One row of a port numbering table: `from` maps to `to` (or `kNoPort`).
struct PortRow {
  std::uint32_t from;
  std::uint32_t to;
};

inline void PrintTo(const PortRow& row, std::ostream* out) {
  *out << row.from << "_to_" << row.to;
}

// A channel of any value, valid or not.
inline RadioChannel channel(std::uint32_t value) {
  return static_cast<RadioChannel>(value);
}

// A port id of any value, valid or not.
inline ITrafHandler::HccdPortId portId(std::uint32_t id) {
  return static_cast<ITrafHandler::HccdPortId>(id);
}

// The rows of `table`, and one row beyond them that maps to `kNoPort`.
template <std::size_t N>
std::vector<PortRow> portRows(const std::uint32_t (&table)[N]) {
  std::vector<PortRow> rows;
  for (std::uint32_t from = 0; from < N; ++from) {
    rows.push_back({from, table[from]});
  }
  rows.push_back({N, kNoPort});
  return rows;
}

inline const std::vector<PortRow>& portIdToIndexTable() {
  static const std::vector<PortRow> rows =
      portRows(nodefacts::kPortIndexOfPortId);
  return rows;
}

inline const std::vector<PortRow>& portIndexToIdTable() {
  static const std::vector<PortRow> rows =
      portRows(nodefacts::kPortIdOfPortIndex);
  return rows;
}

}  // namespace testsupport

#endif  // TESTS_SUPPORT_HCCDTESTSUPPORT_H
