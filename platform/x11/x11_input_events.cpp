#include "platform/x11/x11_input_events.h"

#include <utility>

#include "platform/x11/x11_input_session.h"
#include "platform/x11/x11_reconnecting.h"

namespace tovalin {
namespace {

class X11InputEvents final : public InputEvents {
 public:
  X11InputEvents(SystemLog& log, std::string displayName)
      : log_(log), displayName_(std::move(displayName)) {
    session();
  }

  ~X11InputEvents() override { settle(); }

  DisplayId mainDisplay() const override {
    const auto* live = session();
    return live != nullptr ? live->mainDisplay() : 0;
  }

  Rect bounds(DisplayId /*display*/) const override {
    const auto* live = session();
    return live != nullptr ? live->mainBounds() : Rect{};
  }

  void post(const MouseEvent& event) override { postAny(event); }
  void post(const KeyboardEvent& event) override { postAny(event); }
  void post(const ScrollEvent& event) override { postAny(event); }

  // Never connects: on a new connection there is nothing to settle.
  void settle() override {
    if (session_ == nullptr) return;
    session_->catchUp();
    if (session_->isAlive() && session_->canPost()) session_->settle();
  }

 private:
  template <typename Event>
  void postAny(const Event& event) {
    auto* live = session();
    if (live != nullptr && live->canPost()) live->post(event);
  }

  // The session, up to date; null while there is no server.
  X11InputSession* session() const {
    if (session_ != nullptr) {
      session_->catchUp();
      if (!session_->isAlive()) {
        session_.reset();
        log_.line("[Tovalin] input: the X server is gone");
      }
    }
    if (session_ == nullptr && retry_.isDue()) connect();
    return session_.get();
  }

  void connect() const {
    auto session = std::make_unique<X11InputSession>(displayName_);
    if (!session->isAlive()) {
      if (!std::exchange(loggedFailure_, true)) log_.line("[Tovalin] input: no X server");
      return;
    }
    loggedFailure_ = false;
    log_.line(session->canPost() ? "[Tovalin] input: connected to the X server"
                                 : "[Tovalin] input: the X server has no XTEST extension");
    session_ = std::move(session);
  }

  SystemLog& log_;
  const std::string displayName_;
  // Questions about displays may find a lost server and open the next connection.
  mutable std::unique_ptr<X11InputSession> session_;
  mutable RetryPacing retry_;
  mutable bool loggedFailure_ = false;
};

}  // namespace

std::unique_ptr<InputEvents> makeX11InputEvents(SystemLog& log, std::string displayName) {
  return std::make_unique<X11InputEvents>(log, std::move(displayName));
}

}  // namespace tovalin
