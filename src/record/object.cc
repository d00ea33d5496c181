#include "object.h"

namespace VEXO::sharing::record {

Object::~Object() = default;

}  // namespace VEXO::sharing::record
