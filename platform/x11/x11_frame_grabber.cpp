#include "platform/x11/x11_frame_grabber.h"

#include <cstring>

namespace tovalin {
namespace {

constexpr uint32_t kAllPlanes = ~0U;
// Beside the protocol's error numbers, which are positive.
constexpr int kNoAnswer = -1;

}  // namespace

PixelLayout pixelLayoutOf(const X11Connection& connection) {
  const xcb_setup_t* setup = xcb_get_setup(connection.get());
  const xcb_screen_t* screen = connection.screen();
  PixelLayout layout;
  layout.depth = screen->root_depth;
  layout.mostSignificantByteFirst = setup->image_byte_order == XCB_IMAGE_ORDER_MSB_FIRST;
  for (auto format = xcb_setup_pixmap_formats_iterator(setup); format.rem != 0;
       xcb_format_next(&format)) {
    if (format.data->depth != screen->root_depth) continue;
    layout.bitsPerPixel = format.data->bits_per_pixel;
    layout.scanlinePad = format.data->scanline_pad;
  }
  for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem != 0;
       xcb_depth_next(&depth)) {
    for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem != 0;
         xcb_visualtype_next(&visual)) {
      if (visual.data->visual_id != screen->root_visual) continue;
      layout.visualClass = visual.data->_class;
      layout.redMask = visual.data->red_mask;
      layout.greenMask = visual.data->green_mask;
      layout.blueMask = visual.data->blue_mask;
    }
  }
  return layout;
}

FrameGrabber::FrameGrabber(X11Connection& connection, const PlacedDisplay& display,
                           const PixelLayout& layout, CaptureNotices& notices)
    : connection_(connection), display_(display), layout_(layout), notices_(notices) {
  if (layout.isBgra()) return;
  converter_.emplace(layout);
  staging_ = FrameMemory::sharedWith(connection, static_cast<size_t>(layout.stride(display.width)) *
                                                     static_cast<size_t>(display.height));
  shares_ = staging_ != nullptr;
}

std::shared_ptr<FrameMemory> FrameGrabber::allocate(int rows) {
  const size_t bytes = static_cast<size_t>(display_.width) * static_cast<size_t>(rows) * 4;
  if (shares_ && !converter_) {
    auto memory = FrameMemory::sharedWith(connection_, bytes);
    if (memory != nullptr) return memory;
    shares_ = false;
  }
  if (!shares_) {
    notices_.once("[Tovalin] the x server shares no memory, the screen is copied through it");
  }
  return FrameMemory::ownedHere(bytes);
}

std::span<const FetchedBand> FrameGrabber::ask(const FrameMemory& into,
                                               std::span<const RowBand> bands, int firstRow) {
  xcb_connection_t* c = connection_.get();
  const xcb_shm_seg_t segment = staging_ != nullptr ? staging_->segment() : into.segment();
  const int stride = layout_.stride(display_.width);
  const auto x = static_cast<int16_t>(display_.left);
  const auto width = static_cast<uint16_t>(display_.width);
  const int segmentTop = staging_ != nullptr ? 0 : firstRow;
  viaSegment_ = segment != XCB_NONE;
  asked_.clear();
  for (const RowBand rows : bands) {
    const auto y = static_cast<int16_t>(display_.top + rows.top);
    const auto height = static_cast<uint16_t>(rows.bottom - rows.top);
    const unsigned sequence =
        viaSegment_ ? xcb_shm_get_image(c, connection_.root(), x, y, width, height, kAllPlanes,
                                        XCB_IMAGE_FORMAT_Z_PIXMAP, segment,
                                        static_cast<uint32_t>(rows.top - segmentTop) *
                                            static_cast<uint32_t>(stride))
                          .sequence
                    : xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, connection_.root(), x, y, width,
                                    height, kAllPlanes)
                          .sequence;
    asked_.push_back({rows, sequence});
  }
  return asked_;
}

std::optional<Error> FrameGrabber::collect(const PixelCanvas& into) {
  int failed = 0;
  for (const FetchedBand& band : asked_) {
    const int error = viaSegment_ ? collectShared(band, into) : collectCopied(band, into);
    if (failed == 0) failed = error;
  }
  if (failed == 0) return std::nullopt;
  return Error{"the X server refused a copy of the screen (error " + std::to_string(failed) + ")"};
}

int FrameGrabber::collectShared(const FetchedBand& band, const PixelCanvas& into) {
  xcb_generic_error_t* refused = nullptr;
  const XcbOwned<xcb_shm_get_image_reply_t> reply(
      xcb_shm_get_image_reply(connection_.get(), {band.sequence}, &refused));
  const XcbOwned<xcb_generic_error_t> owner(refused);
  if (reply == nullptr) return refused != nullptr ? refused->error_code : kNoAnswer;
  if (staging_ != nullptr) {
    const ptrdiff_t offset = static_cast<ptrdiff_t>(band.rows.top) * layout_.stride(into.width);
    store(staging_->data() + offset, band.rows, into);
  }
  return 0;
}

int FrameGrabber::collectCopied(const FetchedBand& band, const PixelCanvas& into) {
  xcb_generic_error_t* refused = nullptr;
  const XcbOwned<xcb_get_image_reply_t> reply(
      xcb_get_image_reply(connection_.get(), {band.sequence}, &refused));
  const XcbOwned<xcb_generic_error_t> owner(refused);
  if (reply == nullptr) return refused != nullptr ? refused->error_code : kNoAnswer;
  if (xcb_get_image_data_length(reply.get()) <
      layout_.stride(into.width) * (band.rows.bottom - band.rows.top)) {
    return kNoAnswer;
  }
  store(xcb_get_image_data(reply.get()), band.rows, into);
  return 0;
}

void FrameGrabber::store(const uint8_t* from, RowBand rows, const PixelCanvas& into) const {
  const int stride = layout_.stride(into.width);
  for (int row = rows.top; row < rows.bottom; ++row, from += stride) {
    if (converter_) {
      converter_->convertRow(from, into.at(0, row), into.width);
    } else {
      std::memcpy(into.at(0, row), from, static_cast<size_t>(into.width) * 4);
    }
  }
}

}  // namespace tovalin
