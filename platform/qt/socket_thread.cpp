#include "platform/qt/socket_thread.h"

#include <QCoreApplication>
#include <utility>

namespace tovalin {

void SocketThread::Thread::run() {
  exec();
  // What was asked before the end is still answered.
  QCoreApplication::sendPostedEvents(owner.get(), 0);
  owner.reset();
}

SocketThread::SocketThread(const char* name) {
  thread_.owner = std::make_unique<QObject>();
  thread_.owner->moveToThread(&thread_);
  thread_.setObjectName(name);
  thread_.start();
}

SocketThread::~SocketThread() {
  stop();
}

void SocketThread::post(std::function<void(QObject& owner)> task) {
  std::lock_guard lock(mutex_);
  if (stopped_) return;
  QObject* owner = thread_.owner.get();
  QMetaObject::invokeMethod(
      owner, [owner, task = std::move(task)] { task(*owner); }, Qt::QueuedConnection);
}

void SocketThread::stop() {
  {
    std::lock_guard lock(mutex_);
    if (std::exchange(stopped_, true)) return;
  }
  thread_.quit();
  thread_.wait();
}

}  // namespace tovalin
