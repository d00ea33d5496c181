#pragma once

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include <map>
#include <memory>
#include <string>

#include "entry.h"
#include "fake_platform.h"
#include "log_capture.h"
#include "stored_row.h"

namespace VEXO::sharing::record {

inline Json::Value Parsed(const std::string& text) {
  Json::Value value;
  std::string errors;
  const Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors))
      << errors;
  return value;
}

class EntryTest : public testing::Test {
 protected:
  EntryTest() {
    platform_.users["alice"] = {5001, {}, ""};
    platform_.users["bob"] = {5002, {}, ""};
    platform_.groups = {{"family", 6001}, {"friends", 6002}};
  }

  static Entry LegalEntry() {
    Entry entry;
    entry.set_hash("aB3dE6gH9");
    entry.set_project_name("photo");
    entry.set_owner_uid(5001);
    entry.set_app(Json::Value(Json::objectValue));
    return entry;
  }
  static Entry PasswordEntry(const std::string& password,
                             Entry::PasswordEncryptAlgo algo) {
    Entry entry = LegalEntry();
    entry.set_protect_type(Entry::PROTECT_PASSWORD);
    entry.set_protect_password(password, true, algo);
    return entry;
  }

  /// The columns of a row of a legal entry, with this text as its data.
  static std::map<std::string, std::string> Columns(const std::string& data) {
    return {{"id", "12"},       {"hash", "aB3dE6gH9"}, {"project_name", "photo"},
            {"enabled", "1"},   {"owner_uid", "5001"}, {"start_at", "0"},
            {"expire_at", "0"}, {"expire_times", "0"}, {"use_count", "0"},
            {"auto_gc", "1"},   {"data", data}};
  }
  static Json::Value LegalData() { return Parsed(LegalEntry().GetFieldMap().at("data")); }
  bool ReadText(Entry& entry, const std::string& data) {
    const StoredRow stored(platform_, Columns(data));
    return entry.FromRow(stored.row());
  }
  bool ReadData(Entry& entry, const Json::Value& data) {
    return ReadText(entry, data.toStyledString());
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
};

}  // namespace VEXO::sharing::record
