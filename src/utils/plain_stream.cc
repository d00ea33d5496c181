#include "utils/plain_stream.h"

#include <locale>

namespace VEXO::sharing {

PlainStream::PlainStream() { imbue(std::locale::classic()); }
PlainStream::~PlainStream() = default;

}  // namespace VEXO::sharing
