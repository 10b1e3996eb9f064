// The run as a sequence of calls between the parties of the node, written
// as a Mermaid sequence diagram.
//
// Parties: the platform (module manager, registry, loader), the traffic
// handler, the drivers, the HCC-D handler with its transport, and the client
// modules, each named client a party of its own (an unnamed one stands for
// any client module).
//
// Thread-safety: every member may be called from any thread.
// Cost: one stored event per call; memory grows with the run.
#ifndef SIMNODE_SEQUENCE_H
#define SIMNODE_SEQUENCE_H

#include <cstddef>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace trafsim {

// Ids P, T, D, H in the diagram.
enum class Party { Platform, TrafHandler, Drivers, HccdHandler, Client };

// "1 byte", "3 bytes": a message's size as the diagram shows it.
std::string byteCount(std::size_t length);

class Sequence {
 public:
  // `client` names the client where `from` or `to` is one.
  void call(Party from, Party to, std::string text, std::string client = {});
  void reply(Party from, Party to, std::string text, std::string client = {});
  void note(Party over, std::string text);

  // The Mermaid text of everything so far.
  void writeMermaid(std::ostream& out) const;

 private:
  struct Event {
    enum Kind { Call, Reply, Note };
    Kind kind;
    Party from;
    Party to;
    std::string text;
    std::string client;
  };

  void add(Event event);

  mutable std::mutex m_mutex;
  std::vector<Event> m_events;
  std::vector<std::string> m_clients;  // in the order they first show
};

}  // namespace trafsim

#endif  // SIMNODE_SEQUENCE_H
