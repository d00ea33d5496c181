#pragma once

#include "src/record/entry_data.h"

namespace admin {

/// The fields of a link that are in the data column, as they are stored.  With the
/// functions of Entry each use would look up the accounts, and parse the JSON objects.
using LinkData = VEXO::sharing::record::EntryData;

inline LinkData ReadLinkData(const VEXO::sharing::record::Entry& link) {
  LinkData data;
  // The last column is the data.
  VEXO::sharing::record::ReadData(link.GetFieldList().back(), data);
  return data;
}

}  // namespace admin
