#include <webp/decode.h>

#include "web/thumbnails/helper/read_picture.h"
#include "web/thumbnails/helper/shrink.h"

namespace thumbnail {

Picture ReadWebP(std::string_view file) {
  const auto* const data = reinterpret_cast<const std::uint8_t*>(file.data());
  WebPDecoderConfig config;
  if (WebPInitDecoderConfig(&config) == 0) Refuse();
  if (WebPGetFeatures(data, file.size(), &config.input) != VP8_STATUS_OK) Refuse();
  const Size size = {static_cast<unsigned int>(config.input.width),
                     static_cast<unsigned int>(config.input.height)};
  CheckSize(size);
  const Size small = ThumbnailSize(size);
  config.options.use_scaling = 1;
  config.options.scaled_width = static_cast<int>(small.width);
  config.options.scaled_height = static_cast<int>(small.height);
  config.output.colorspace = MODE_RGBA;
  if (WebPDecode(data, file.size(), &config) != VP8_STATUS_OK) Refuse();

  Shrinker shrinker(small, small);
  const WebPRGBABuffer& pixels = config.output.u.RGBA;
  for (unsigned int y = 0; y < small.height; ++y) {
    shrinker.AddTransparentRow(pixels.rgba + static_cast<size_t>(pixels.stride) * y);
  }
  WebPFreeDecBuffer(&config.output);
  return shrinker.Take();
}

}  // namespace thumbnail
