#include "listing_json.h"

#include <json/value.h>
#include <json/writer.h>

#include "web/files/display_name.h"
#include "web/pages/pages.h"

namespace web {
namespace {

Json::Value EntryValue(const ListingEntry& entry) {
  const bool folder = entry.kind == NodeKind::kFolder;
  Json::Value value(Json::objectValue);
  value["name"] = ToValidUtf8(entry.name);
  value["kind"] = folder ? "folder" : "file";
  value["size"] = Json::UInt64(entry.size);
  value["time"] = Json::Int64(entry.modified);
  value["url"] = EntryHref(entry.name) + (folder ? "/" : "");
  return value;
}

}  // namespace

std::string RenderListingJson(const Listing& listing, const ListingQuery& query) {
  Json::Value value(Json::objectValue);
  value["folders"] = Json::UInt64(listing.folders);
  value["files"] = Json::UInt64(listing.files);
  value["bytes"] = Json::UInt64(listing.bytes);
  value["complete"] = listing.complete;
  value["page"] = Json::UInt64(listing.page);
  value["pages"] = Json::UInt64(listing.page_count);
  value["sort"] = SortName(query.sort);
  value["order"] = OrderName(query.descending);
  value["q"] = ToValidUtf8(query.search);
  value["below"] = query.below;
  Json::Value& entries = value["entries"] = Json::Value(Json::arrayValue);
  for (const ListingEntry& entry : listing.entries) entries.append(EntryValue(entry));
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, value) + "\n";
}

}  // namespace web
