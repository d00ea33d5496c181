#include "web/drop/sent_note.h"

#include "web/files/display_name.h"

namespace web {

std::string SentNote(const std::string& from, const std::string& note,
                     const std::vector<std::string>& names, time_t time) {
  tm local = {};
  char sent[64] = "";
  if (localtime_r(&time, &local) != nullptr) {
    strftime(sent, sizeof(sent), "%Y-%m-%d %H:%M:%S %z", &local);
  }
  std::string text = "From: " + DisplayName(from) + "\nSent: " + sent + "\n";
  for (const std::string& name : names) text += "File: " + name + "\n";
  return text + "\n" + DisplayText(note) + "\n";
}

}  // namespace web
