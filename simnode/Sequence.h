// The run as a sequence of calls between the parties of the node, written
// as a Mermaid sequence diagram.
//
// Parties: the platform (module manager, registry, loader), the traffic
// handler, the drivers, the HCC-D handler with its transport, and the client
// modules, each named client a party of its own.
//
// Some platform facilities only log their calls; `setPull` names a function
// that turns what they logged since the last pull into events. It is called,
// under the diagram's lock, before each event is added and by `flush`, so
// those calls take their place before whatever happens next.
//
// Thread-safety: every member may be called from any thread.
// Cost: one stored event per call; memory grows with the run.
#ifndef SIMNODE_SEQUENCE_H
#define SIMNODE_SEQUENCE_H

#include <cstddef>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace trafsim {

enum class Party { Platform, TrafHandler, Drivers, HccdHandler, Client };

struct SequenceEvent {
  enum Kind { Call, Reply, Note };
  Kind kind;
  Party from;
  Party to;            // unused by notes
  std::string client;  // the client's name where `from` or `to` is Client
  std::string text;
};

// "1 byte", "3 bytes": a message's size as the diagram shows it.
std::string byteCount(std::size_t length);

class Sequence {
 public:
  using Pull = std::function<std::vector<SequenceEvent>()>;

  void setPull(Pull pull);

  void call(Party from, Party to, std::string text);
  void reply(Party from, Party to, std::string text);
  void clientCall(const std::string& client, std::string text);
  void clientReply(const std::string& client, std::string text);
  void callClient(const std::string& client, std::string text);
  void note(Party over, std::string text);
  // Adds what the pull function has for it now.
  void flush();

  // The Mermaid text of everything so far.
  void writeMermaid(std::ostream& out) const;

 private:
  void add(SequenceEvent event);
  void pullLocked();

  mutable std::mutex m_mutex;
  Pull m_pull;
  std::vector<SequenceEvent> m_events;
};

}  // namespace trafsim

#endif  // SIMNODE_SEQUENCE_H
