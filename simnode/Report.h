// SPDX-License-Identifier: Apache-2.0
// What a run of trafsim shows: each step as it starts, the module's trace
// lines as they happen, each step's outcome; at the end, the tables of the
// messages per channel and port, the phases run and the expectations, then
// the verdict. In quiet mode only the verdict is printed. Apart,
// the calls between the parties of the node as a Mermaid sequence diagram.
//
// Thread-safety: every member may be called from any thread (the
// transport's thread prints, counts deliveries and adds calls); lines never
// interleave.
// Cost: the diagram keeps one line per call; memory grows with the run.
#ifndef SIMNODE_REPORT_H
#define SIMNODE_REPORT_H

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "TraceControl.h"

namespace trafsim {

// "1 byte", "3 bytes": a message's size as the run shows it.
std::string byteCount(std::size_t length);

// What became of a message, in the order of the words that name it.
enum class Traffic { Sent, Dropped, Refused, Delivered };
inline constexpr const char* kTrafficNames[] = {"sent", "dropped", "refused",
                                                "delivered"};

// The parties of the node: P, T, D and H in the diagram; each named client
// is a party of its own, and an unnamed one stands for any client module.
enum class Party { Platform, TrafHandler, Drivers, HccdHandler, Client };

class Report {
 public:
  Report(std::ostream& out, bool quiet) : m_out(out), m_quiet(quiet) {}

  // A line, unless quiet.
  void line(const std::string& text);
  // One trace line; `transport` marks lines emitted on the transport thread.
  // A failure's (level 1) is also a note over the traffic handler.
  void trace(const standin::TraceRecord& record, bool transport);

  void count(Traffic traffic, std::uint32_t channel, std::uint32_t portId);
  std::uint64_t counted(Traffic traffic, std::uint32_t channel,
                        std::uint32_t portId) const;
  void phaseRun(const std::string& phase, unsigned int moduleId,
                unsigned int status);
  // An expectation of the line `where`: "ok", or "FAILED" with `failure`.
  void expectation(const std::string& where, const std::string& failure);

  // The tables (unless quiet), then "All 12 expectations met." or the
  // failed ones, one per line; true when none failed.
  bool finish();

  // A call between two parties, and its reply; `client` names the client
  // where `from` or `to` is one.
  void call(Party from, Party to, const std::string& text,
            const std::string& client = {}) {
    add(from, to, "->>", text, client);
  }
  void reply(Party from, Party to, const std::string& text,
             const std::string& client = {}) {
    add(from, to, "-->>", text, client);
  }
  // The calls so far as a Mermaid sequence diagram.
  void writeSequence(std::ostream& out) const;

 private:
  using Row = std::vector<std::string>;

  void add(Party from, Party to, const char* arrow, const std::string& text,
           const std::string& client);

  mutable std::mutex m_mutex;
  std::ostream& m_out;
  const bool m_quiet;
  std::map<std::pair<std::uint32_t, std::uint32_t>,
           std::array<std::uint64_t, std::size(kTrafficNames)>>
      m_traffic;
  std::vector<Row> m_phases{{"phase", "module", "result"}};
  std::size_t m_met = 0;
  std::vector<std::string> m_failures;
  std::vector<std::string> m_sequence;  // the diagram's lines
  std::vector<std::string> m_clients;   // in the order they first show
};

}  // namespace trafsim

#endif  // SIMNODE_REPORT_H
