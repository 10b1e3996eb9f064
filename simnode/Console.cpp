#include "Console.h"

namespace trafsim {

void Console::text(const std::string& line) {
  if (m_quiet) {
    return;
  }
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_out << line << '\n';
}

void Console::trace(const standin::TraceRecord& record, bool transport) {
  // The text is quoted so that its leading and trailing blanks show.
  std::string line = std::string(transport ? "    [transport] " : "    ") +
                     record.object + " L" +
                     std::to_string(static_cast<unsigned>(record.level)) + ' ' +
                     record.function + ':' + std::to_string(record.line);
  if (record.entry) {
    line += " ->";
  }
  if (!record.entry || !record.text.empty()) {
    line += " \"" + record.text + '"';
  }
  text(line);
}

void Console::error(const std::string& line) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_err << "trafsim: " << line << '\n';
}

}  // namespace trafsim
