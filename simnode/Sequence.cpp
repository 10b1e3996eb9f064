#include "Sequence.h"

#include <algorithm>
#include <utility>

namespace trafsim {

namespace {

// A client without a name stands for any client module.
std::string clientId(const std::string& client) {
  return client.empty() ? "client" : "C_" + client;
}

std::string partyId(Party party, const std::string& client) {
  switch (party) {
    case Party::Platform:
      return "P";
    case Party::TrafHandler:
      return "T";
    case Party::Drivers:
      return "D";
    case Party::HccdHandler:
      return "H";
    case Party::Client:
      return clientId(client);
  }
  return "?";
}

// Mermaid ends a message at ';' and starts a comment at '#'; both have
// entity codes that the diagram shows as the character.
std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == ';') {
      out += "#59;";
    } else if (c == '#') {
      out += "#35;";
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace

std::string byteCount(std::size_t length) {
  return std::to_string(length) + (length == 1 ? " byte" : " bytes");
}

void Sequence::setPull(Pull pull) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_pull = std::move(pull);
}

void Sequence::call(Party from, Party to, std::string text) {
  add({SequenceEvent::Call, from, to, {}, std::move(text)});
}

void Sequence::reply(Party from, Party to, std::string text) {
  add({SequenceEvent::Reply, from, to, {}, std::move(text)});
}

void Sequence::clientCall(const std::string& client, std::string text) {
  add({SequenceEvent::Call, Party::Client, Party::TrafHandler, client,
       std::move(text)});
}

void Sequence::clientReply(const std::string& client, std::string text) {
  add({SequenceEvent::Reply, Party::TrafHandler, Party::Client, client,
       std::move(text)});
}

void Sequence::callClient(const std::string& client, std::string text) {
  add({SequenceEvent::Call, Party::TrafHandler, Party::Client, client,
       std::move(text)});
}

void Sequence::note(Party over, std::string text) {
  add({SequenceEvent::Note, over, over, {}, std::move(text)});
}

void Sequence::flush() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  pullLocked();
}

void Sequence::add(SequenceEvent event) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  pullLocked();
  m_events.push_back(std::move(event));
}

void Sequence::pullLocked() {
  if (!m_pull) {
    return;
  }
  for (SequenceEvent& event : m_pull()) {
    m_events.push_back(std::move(event));
  }
}

void Sequence::writeMermaid(std::ostream& out) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  out << "sequenceDiagram\n"
      << "  participant P as Platform\n"
      << "  participant T as TrafHandler\n"
      << "  participant D as Drivers\n"
      << "  participant H as HCC-D handler\n";
  std::vector<std::string> clients;
  for (const SequenceEvent& event : m_events) {
    const bool involvesClient =
        event.kind != SequenceEvent::Note &&
        (event.from == Party::Client || event.to == Party::Client);
    if (involvesClient && std::find(clients.begin(), clients.end(),
                                    event.client) == clients.end()) {
      clients.push_back(event.client);
    }
  }
  for (const std::string& client : clients) {
    out << "  participant " << clientId(client) << " as "
        << (client.empty() ? "client module" : "client " + client) << '\n';
  }
  for (const SequenceEvent& event : m_events) {
    const std::string from = partyId(event.from, event.client);
    switch (event.kind) {
      case SequenceEvent::Call:
        out << "  " << from << "->>" << partyId(event.to, event.client);
        break;
      case SequenceEvent::Reply:
        out << "  " << from << "-->>" << partyId(event.to, event.client);
        break;
      case SequenceEvent::Note:
        out << "  Note over " << from;
        break;
    }
    out << ": " << escaped(event.text) << '\n';
  }
}

}  // namespace trafsim
