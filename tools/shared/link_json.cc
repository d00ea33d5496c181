#include "link_json.h"

#include "keys.h"
#include "link_state.h"

namespace tools {

using namespace VEXO::sharing;  // the keys

Json::Value LinkJson(const record::Entry& link, long now) {
  Json::Value out;
  link.ToJSON(out);
  out[SZK_ID_] = link.get_id();
  out[SZK_OWNER_UID] = link.get_owner_uid();
  out[SZK_START_AT] = Json::Int64{link.get_start_at()};
  out[SZK_EXPIRE_AT] = Json::Int64{link.get_expire_at()};
  out["state"] = StateName(StateOf(link, now));
  return out;
}

Json::Value JsonArray(const std::vector<std::string>& texts) {
  Json::Value array(Json::arrayValue);
  for (const std::string& text : texts) array.append(text);
  return array;
}

}  // namespace tools
