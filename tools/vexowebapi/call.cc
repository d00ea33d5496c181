#include "call.h"

#include "keys.h"

namespace webapi {

Error Call::Open(admin::Access access) {
  if (parameters.error()) return parameters.error();
  if (Error error = access_.Open(VEXO::sharing::SZF_SHARING_DB_PATH, access))
    return error;
  links_ = std::make_unique<admin::LinkAdmin>(database());
  return {};
}

}  // namespace webapi
