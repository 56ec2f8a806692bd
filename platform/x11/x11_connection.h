#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace tovalin {

// Frees what libxcb allocates with malloc.
struct XcbFree {
  void operator()(void* allocated) const { std::free(allocated); }
};

// A reply, error or event of libxcb's, owned.
template <typename T>
using XcbOwned = std::unique_ptr<T, XcbFree>;

// One connection to an X server, from construction to destruction. Construction connects and
// blocks for as long as the server takes to answer; it never throws: ask `alive()`. Whoever owns
// it decides on the thread; libxcb itself is safe from any.
class X11Connection {
 public:
  // `displayName` as in the DISPLAY variable; empty means that variable.
  explicit X11Connection(const std::string& displayName);
  ~X11Connection();
  X11Connection(const X11Connection&) = delete;
  X11Connection& operator=(const X11Connection&) = delete;

  // False when the server could not be reached, refused us, or is gone.
  bool alive() const;

  // For requests; valid even when not alive (requests then fail, nothing crashes).
  xcb_connection_t* get() const { return connection_; }

  // The screen that the display name chose. Null unless the connection came up.
  xcb_screen_t* screen() const { return screen_; }
  xcb_window_t root() const { return screen_ != nullptr ? screen_->root : XCB_NONE; }

  // The server's data about an extension, null when it has none. Blocks for one answer the first
  // time an extension is asked for.
  const xcb_query_extension_reply_t* extension(xcb_extension_t* id) const;

  // Whether the server is reached through a local socket. Only then can memory be shared: a
  // forwarded display looks local to its server, but is TCP at this end.
  bool isLocal() const;

 private:
  xcb_connection_t* connection_;
  xcb_screen_t* screen_ = nullptr;
};

}  // namespace tovalin
