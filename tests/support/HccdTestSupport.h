// HCC-D test helpers: the port tables written out as clients know them, and
// a port callback that records what it receives.
#ifndef TESTS_SUPPORT_HCCDTESTSUPPORT_H
#define TESTS_SUPPORT_HCCDTESTSUPPORT_H

#include <cstdint>
#include <functional>
#include <ostream>
#include <vector>

#include "ITrafHandler.h"

namespace testsupport {

// Marks a port id without port index, or a port index without port id.
constexpr std::uint32_t kNoPort = 15;

// One row of a port numbering table: `from` maps to `to` (or `kNoPort`).
struct PortRow {
  std::uint32_t from;
  std::uint32_t to;
};

// A channel of any value, valid or not.
inline RadioChannel channel(std::uint32_t value) {
  return static_cast<RadioChannel>(value);
}

// A port id of any value, valid or not.
inline ITrafHandler::HccdPortId portId(std::uint32_t id) {
  return static_cast<ITrafHandler::HccdPortId>(id);
}

inline void PrintTo(const PortRow& row, std::ostream* out) {
  *out << row.from << "_to_" << row.to;
}

// Port id to HCC-D port index; one row beyond the ids.
inline const std::vector<PortRow>& portIdToIndexTable() {
  static const std::vector<PortRow> rows = {
      {0, 0},   {1, 1},   {2, 2},  {3, 3},  {4, 6},   {5, 7},
      {6, 15},  {7, 8},   {8, 9},  {9, 10}, {10, 11}, {11, 12},
      {12, 13}, {13, 14}, {14, 4}, {15, 15}};
  return rows;
}

// HCC-D port index to port id; one row beyond the indexes.
inline const std::vector<PortRow>& portIndexToIdTable() {
  static const std::vector<PortRow> rows = {
      {0, 0},   {1, 1},   {2, 2},   {3, 3},  {4, 14}, {5, 15},
      {6, 4},   {7, 5},   {8, 7},   {9, 8},  {10, 9}, {11, 10},
      {12, 11}, {13, 12}, {14, 13}, {15, 15}};
  return rows;
}

class RecordingHccdCallback : public ITrafHandler::HccdPortCallback {
 public:
  struct Call {
    unsigned char* data;
    unsigned int length;
    std::uint32_t portId;
    bool operator==(const Call& other) const {
      return data == other.data && length == other.length &&
             portId == other.portId;
    }
  };

  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const ITrafHandler::HccdPortId& portId) override {
    calls.push_back({data, length, portId});
    if (action) {
      action();
    }
  }

  std::vector<Call> calls;
  // Runs after each call is recorded, e.g. to throw.
  std::function<void()> action;
};

inline std::ostream& operator<<(std::ostream& out,
                                const RecordingHccdCallback::Call& call) {
  return out << "{" << static_cast<const void*>(call.data) << ", "
             << call.length << ", port " << call.portId << "}";
}

}  // namespace testsupport

#endif  // TESTS_SUPPORT_HCCDTESTSUPPORT_H
