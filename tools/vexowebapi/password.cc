#include "password.h"

#include <cstring>

#include "draw_password.h"

namespace webapi {

Password::~Password() { explicit_bzero(text_.data(), text_.capacity()); }

bool Password::Draw() { return tools::DrawPassword(text_); }

}  // namespace webapi
