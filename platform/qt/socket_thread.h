#pragma once

#include <QObject>
#include <QThread>
#include <functional>
#include <memory>
#include <mutex>

namespace tovalin {

// A thread with an event loop, and the object on it that owns whatever lives there.
class SocketThread {
 public:
  explicit SocketThread(const char* name);
  ~SocketThread();
  SocketThread(const SocketThread&) = delete;
  SocketThread& operator=(const SocketThread&) = delete;

  // Runs `task` on the thread, in posting order, with the object that owns what lives there; drops
  // it after stop(). Any thread.
  void post(std::function<void(QObject& owner)> task);

  // Ends the thread once it has done what was posted, and destroys what lived on it. Any other
  // thread; again, does nothing.
  void stop();

 private:
  class Thread : public QThread {
   public:
    void run() override;
    std::unique_ptr<QObject> owner;
  };

  std::mutex mutex_;  // guards stopped_, so that nothing is posted to an owner that is gone
  bool stopped_ = false;
  Thread thread_;
};

}  // namespace tovalin
