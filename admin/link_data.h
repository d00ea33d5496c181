#pragma once

#include "src/record/entry_data.h"

namespace admin {

/// The fields of a link that are in the data column, as they are stored.  The functions
/// of Entry would look up the accounts each time, and parse the two JSON objects.
using LinkData = VEXO::sharing::record::EntryData;

inline LinkData ReadLinkData(const VEXO::sharing::record::Entry& link) {
  LinkData data;
  // The column is the last one.
  VEXO::sharing::record::ReadData(link.GetFieldList().back(), data);
  return data;
}

}  // namespace admin
