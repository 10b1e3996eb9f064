// What a run counted, printed as tables at its end: messages per channel
// and port, the phases run with their results, and the expectations met and
// failed.
//
// Thread-safety: every member may be called from any thread (deliveries are
// counted on the transport thread).
#ifndef SIMNODE_SUMMARY_H
#define SIMNODE_SUMMARY_H

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace trafsim {

// What became of a message, in the order of the words that name it.
enum class Traffic { Sent, Dropped, Refused, Delivered };
inline constexpr const char* kTrafficNames[] = {"sent", "dropped", "refused",
                                                "delivered"};

class Summary {
 public:
  void count(Traffic traffic, std::uint32_t channel, std::uint32_t portId);
  std::uint64_t counted(Traffic traffic, std::uint32_t channel,
                        std::uint32_t portId) const;

  void phaseRun(const std::string& phase, unsigned int moduleId,
                unsigned int status);

  void met();
  void failed(const std::string& where, const std::string& what);
  std::size_t failures() const;

  // The three tables.
  void print(std::ostream& out) const;
  // "All 12 expectations met." or the failed ones, one per line.
  void printVerdict(std::ostream& out) const;

 private:
  using Counts = std::array<std::uint64_t, std::size(kTrafficNames)>;
  // Cells of the phases table: phase, module id, result.
  using Row = std::vector<std::string>;

  mutable std::mutex m_mutex;
  std::map<std::pair<std::uint32_t, std::uint32_t>, Counts> m_traffic;
  std::vector<Row> m_phases;
  std::size_t m_met = 0;
  std::vector<std::string> m_failures;
};

}  // namespace trafsim

#endif  // SIMNODE_SUMMARY_H
