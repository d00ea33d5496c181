#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

#include "internal/entry_private.h"

namespace VEXO::sharing::record {

const char* ProtectTypeText(Entry::ProtectType type);
const char* RedirectTypeText(Entry::RedirectType type);
const char* AlgoText(Entry::PasswordEncryptAlgo algo);

/// A JSON array of the values.
template <class T>
Json::Value JsonArray(const std::vector<T>& values) {
  Json::Value array(Json::arrayValue);
  for (const T& value : values) {
    array.append(value);
  }
  return array;
}

/// The JSON text of the data column.
std::string DataText(const EntryData& data);
/// Reads the data column.
///
/// @param[out] data  unchanged when the text is not a JSON object; partly read when a
///                   member has the wrong type
/// @return false when the text is not a JSON object, or a member has the wrong type
bool ReadData(std::string_view text, EntryData& data);

// The two ways to write and to read it, for tests.  The fast functions return false for
// rare data, and then leave `text` and `data` unchanged.

bool WriteDataFast(const EntryData& data, std::string& text);
bool ReadDataFast(std::string_view text, EntryData& data);
std::string WriteDataAsJson(const EntryData& data);
bool ReadDataAsJson(const std::string& text, EntryData& data);

}  // namespace VEXO::sharing::record
