#include "listing_href.h"

#include "base/percent.h"
#include "web/pages/pages.h"

namespace web {
namespace {

void Add(const std::string& name, const std::string& value, std::string* query) {
  *query += (query->empty() ? "?" : "&") + name + "=" + VEXO::base::PercentEncode(value);
}

void AddOrder(const ListingQuery& order, std::string* query) {
  if (order.sort == SortKey::kName && !order.descending) return;
  Add("sort", SortName(order.sort), query);
  Add("order", OrderName(order.descending), query);
}

std::string Text(const ListingQuery& query) {
  std::string text;
  if (query.grid) Add("view", "grid", &text);
  AddOrder(query, &text);
  if (!query.search.empty()) Add("q", query.search, &text);
  if (query.below) Add("below", "", &text);
  if (query.page > 1) Add("page", std::to_string(query.page), &text);
  return text;
}

}  // namespace

std::string ListingHref(const ListingQuery& query) {
  const std::string text = Text(query);
  return text.empty() ? "./" : text;
}

std::string FolderHref(const ListingQuery& query) { return "./" + Text(query); }

std::string FileViewHref(const std::string& name, const ListingQuery& query) {
  std::string text = query.grid ? "?view=grid" : "?view";
  AddOrder(query, &text);
  return EntryHref(name) + text;
}

}  // namespace web
