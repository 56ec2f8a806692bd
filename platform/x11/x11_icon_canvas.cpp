#include "platform/x11/x11_icon_canvas.h"

#include <bit>
#include <vector>

namespace tovalin {
namespace {

constexpr uint8_t kArgbDepth = 32;

bool isArgb(const xcb_render_pictforminfo_t& format) {
  const auto& direct = format.direct;
  return format.type == XCB_RENDER_PICT_TYPE_DIRECT && format.depth == kArgbDepth &&
         direct.alpha_shift == 24 && direct.red_shift == 16 && direct.green_shift == 8 &&
         direct.blue_shift == 0 && direct.alpha_mask == 0xff && direct.red_mask == 0xff &&
         direct.green_mask == 0xff && direct.blue_mask == 0xff;
}

uint32_t premultiplied(uint32_t pixel) {
  const uint32_t alpha = pixel >> 24;
  uint32_t result = alpha << 24;
  for (const int shift : {16, 8, 0}) {
    const uint32_t channel = (pixel >> shift) & 0xff;
    result |= ((channel * alpha + 127) / 255) << shift;
  }
  return result;
}

}  // namespace

X11IconCanvas::X11IconCanvas(const X11Connection& connection) : connection_(connection) {
  if (connection.extension(&xcb_render_id) == nullptr) return;
  xcb_connection_t* server = connection.get();
  formats_.reset(
      xcb_render_query_pict_formats_reply(server, xcb_render_query_pict_formats(server), nullptr));
  if (!formats_) return;
  for (auto format = xcb_render_query_pict_formats_formats_iterator(formats_.get()); format.rem > 0;
       xcb_render_pictforminfo_next(&format)) {
    if (isArgb(*format.data)) argb_ = format.data->id;
  }
}

xcb_render_pictformat_t X11IconCanvas::formatOf(xcb_visualid_t wanted) const {
  for (auto screen = xcb_render_query_pict_formats_screens_iterator(formats_.get()); screen.rem > 0;
       xcb_render_pictscreen_next(&screen)) {
    for (auto depth = xcb_render_pictscreen_depths_iterator(screen.data); depth.rem > 0;
         xcb_render_pictdepth_next(&depth)) {
      for (auto visual = xcb_render_pictdepth_visuals_iterator(depth.data); visual.rem > 0;
           xcb_render_pictvisual_next(&visual)) {
        if (visual.data->visual == wanted) return visual.data->format;
      }
    }
  }
  return XCB_NONE;
}

xcb_pixmap_t X11IconCanvas::upload(const IconPicture& picture) const {
  xcb_connection_t* server = connection_.get();
  const bool lowFirst = xcb_get_setup(server)->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
  const bool swapped = lowFirst != (std::endian::native == std::endian::little);
  std::vector<uint32_t> pixels;
  pixels.reserve(picture.pixels.size());
  for (const uint32_t pixel : picture.pixels) {
    const uint32_t value = premultiplied(pixel);
    pixels.push_back(swapped ? __builtin_bswap32(value) : value);
  }

  const auto side = static_cast<uint16_t>(picture.size);
  const xcb_pixmap_t pixmap = xcb_generate_id(server);
  const xcb_gcontext_t context = xcb_generate_id(server);
  xcb_create_pixmap(server, kArgbDepth, pixmap, connection_.root(), side, side);
  xcb_create_gc(server, context, pixmap, 0, nullptr);
  xcb_put_image(server, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, context, side, side, 0, 0, 0, kArgbDepth,
                static_cast<uint32_t>(pixels.size() * sizeof(uint32_t)),
                reinterpret_cast<const uint8_t*>(pixels.data()));
  xcb_free_gc(server, context);
  return pixmap;
}

void X11IconCanvas::paint(const IconPicture& picture, xcb_window_t window, xcb_visualid_t visual,
                          int width, int height) const {
  const xcb_render_pictformat_t format = usable() ? formatOf(visual) : XCB_NONE;
  if (format == XCB_NONE || picture.size <= 0) return;
  xcb_connection_t* server = connection_.get();
  const xcb_pixmap_t pixmap = upload(picture);
  const xcb_render_picture_t source = xcb_generate_id(server);
  const xcb_render_picture_t target = xcb_generate_id(server);
  xcb_render_create_picture(server, source, pixmap, argb_, 0, nullptr);
  xcb_render_create_picture(server, target, window, format, 0, nullptr);
  xcb_clear_area(server, 0, window, 0, 0, 0, 0);
  const auto side = static_cast<uint16_t>(picture.size);
  xcb_render_composite(server, XCB_RENDER_PICT_OP_OVER, source, XCB_NONE, target, 0, 0, 0, 0,
                       static_cast<int16_t>((width - picture.size) / 2),
                       static_cast<int16_t>((height - picture.size) / 2), side, side);
  xcb_render_free_picture(server, target);
  xcb_render_free_picture(server, source);
  xcb_free_pixmap(server, pixmap);
}

}  // namespace tovalin
