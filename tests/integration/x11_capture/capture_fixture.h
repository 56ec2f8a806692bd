#pragma once

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/screen_capture.h"
#include "platform/x11/x11_screen_capture.h"
#include "tests/fakes/fake_system.h"
#include "tests/integration/support/xvfb.h"
#include "tests/integration/x11_capture/desktop_client.h"
#include "tests/integration/x11_capture/recording_output.h"

namespace tovalin::test {

// A private X server and the capture of its screen.
class CaptureFixture : public testing::Test {
 protected:
  static constexpr double kFrameInterval = 1.0 / 30;

  void startServer(const std::string& screen = "640x480x24",
                   std::vector<std::string> options = {}) {
    server_ = std::make_unique<Xvfb>(screen, std::move(options));
    desktop_ = std::make_unique<DesktopClient>(server_->display());
    capture_ = makeX11ScreenCapture(log_, server_->display());
  }

  ShareableContent listDisplays() {
    std::promise<ShareableContent> listed;
    capture_->shareableContent([&](std::variant<ShareableContent, Error> content) {
      listed.set_value(std::get<ShareableContent>(content));
    });
    return listed.get_future().get();
  }

  CaptureConfiguration configuration() {
    const CaptureDisplay display = listDisplays().displays.at(0);
    CaptureConfiguration wanted;
    wanted.display = display.id;
    wanted.width = display.width;
    wanted.height = display.height;
    wanted.minimumFrameInterval = kFrameInterval;
    wanted.pixelFormat = kPixelFormatBgra;
    wanted.queueDepth = 5;
    wanted.showsCursor = true;
    wanted.queueLabel = "com.tovalin.host.capture";
    return wanted;
  }

  void makeStream(const CaptureConfiguration& wanted) {
    output_ = std::make_shared<RecordingOutput>();
    stream_ = std::get<std::shared_ptr<CaptureStream>>(capture_->makeStream(wanted, output_));
  }

  std::optional<Error> start() {
    std::promise<std::optional<Error>> started;
    stream_->startCapture([&](std::optional<Error> result) { started.set_value(result); });
    return started.get_future().get();
  }

  std::optional<Error> stop() {
    std::promise<std::optional<Error>> stopped;
    stream_->stopCapture([&](std::optional<Error> result) { stopped.set_value(result); });
    return stopped.get_future().get();
  }

  // Streams, with the first picture received.
  void stream(const CaptureConfiguration& wanted) {
    makeStream(wanted);
    if (const auto failed = start()) throw std::runtime_error(failed->description);
    if (!output_->waitForSamples(FrameStatus::complete, 1)) throw std::runtime_error("no picture");
  }
  void stream() { stream(configuration()); }

  // True once the newest picture is what another client sees on the whole screen.
  bool pictureBecomesTheScreen() {
    return output_->waitForPicture([this](const PixelBuffer& picture) {
      const auto screen = desktop_->screen(picture.width(), picture.height());
      for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
          if (pixelAt(picture, x, y) != screen[static_cast<size_t>(y * picture.width() + x)]) {
            return false;
          }
        }
      }
      return true;
    });
  }

  bool pixelBecomes(int x, int y, uint32_t color) {
    return output_->waitForPicture(
        [=](const PixelBuffer& picture) { return pixelAt(picture, x, y) == color; });
  }

  fake::FakeSystemLog log_;
  std::unique_ptr<Xvfb> server_;
  std::unique_ptr<DesktopClient> desktop_;
  std::unique_ptr<ScreenCapture> capture_;
  std::shared_ptr<RecordingOutput> output_;
  std::shared_ptr<CaptureStream> stream_;
};

}  // namespace tovalin::test
