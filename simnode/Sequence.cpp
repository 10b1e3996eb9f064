#include "Sequence.h"

#include <algorithm>
#include <utility>

namespace trafsim {

namespace {

// The diagram's id of a party; a client's is its name's, and a client
// without a name stands for any client module.
std::string partyId(Party party, const std::string& client) {
  if (party != Party::Client) {
    return std::string(1, "PTDH"[static_cast<int>(party)]);
  }
  return client.empty() ? "client" : "C_" + client;
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

void Sequence::call(Party from, Party to, std::string text,
                    std::string client) {
  add({Event::Call, from, to, std::move(text), std::move(client)});
}

void Sequence::reply(Party from, Party to, std::string text,
                     std::string client) {
  add({Event::Reply, from, to, std::move(text), std::move(client)});
}

void Sequence::note(Party over, std::string text) {
  add({Event::Note, over, over, std::move(text), {}});
}

void Sequence::add(Event event) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const bool withClient =
      event.from == Party::Client || event.to == Party::Client;
  if (withClient && std::find(m_clients.begin(), m_clients.end(),
                              event.client) == m_clients.end()) {
    m_clients.push_back(event.client);
  }
  m_events.push_back(std::move(event));
}

void Sequence::writeMermaid(std::ostream& out) const {
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
  for (const Event& event : m_events) {
    const std::string from = partyId(event.from, event.client);
    const std::string to = partyId(event.to, event.client);
    switch (event.kind) {
      case Event::Call:
        out << "  " << from << "->>" << to;
        break;
      case Event::Reply:
        out << "  " << from << "-->>" << to;
        break;
      case Event::Note:
        out << "  Note over " << from;
        break;
    }
    out << ": " << escaped(event.text) << '\n';
  }
}

}  // namespace trafsim
