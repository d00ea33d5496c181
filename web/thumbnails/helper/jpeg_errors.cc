#include "web/thumbnails/helper/jpeg_errors.h"

#include "web/thumbnails/helper/picture.h"

namespace thumbnail {

jpeg_error_mgr* RefuseOnErrors(jpeg_error_mgr* errors) {
  jpeg_std_error(errors);
  errors->error_exit = [](j_common_ptr /*codec*/) { Refuse(); };
  errors->output_message = [](j_common_ptr /*codec*/) {};
  return errors;
}

}  // namespace thumbnail
