#include "platform/x11/x11_frame_memory.h"

#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <unistd.h>

namespace tovalin {
namespace {

bool accepted(X11Connection& connection, xcb_void_cookie_t request) {
  const XcbOwned<xcb_generic_error_t> refused(xcb_request_check(connection.get(), request));
  return refused == nullptr && connection.alive();
}

}  // namespace

std::shared_ptr<FrameMemory> FrameMemory::sharedWith(X11Connection& connection, size_t bytes) {
  if (!connection.isLocal() || connection.extension(&xcb_shm_id) == nullptr) return nullptr;
  const XcbOwned<xcb_shm_query_version_reply_t> version(xcb_shm_query_version_reply(
      connection.get(), xcb_shm_query_version(connection.get()), nullptr));
  if (version == nullptr) return nullptr;
  const bool takesDescriptors =
      version->major_version > 1 || (version->major_version == 1 && version->minor_version >= 2);
  auto memory = takesDescriptors ? byDescriptor(connection, bytes) : nullptr;
  return memory != nullptr ? memory : bySystemV(connection, bytes);
}

std::shared_ptr<FrameMemory> FrameMemory::byDescriptor(X11Connection& connection, size_t bytes) {
  const int fd = memfd_create("tovalin-frame", MFD_CLOEXEC);
  if (fd < 0) return nullptr;
  void* data = MAP_FAILED;
  if (ftruncate(fd, static_cast<off_t>(bytes)) == 0) {
    data = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  }
  if (data == MAP_FAILED) {
    close(fd);
    return nullptr;
  }
  const xcb_shm_seg_t segment = xcb_generate_id(connection.get());
  std::shared_ptr<FrameMemory> memory(new FrameMemory(data, bytes, Origin::mapped, segment));
  // libxcb closes the descriptor once it is sent.
  const auto request = xcb_shm_attach_fd_checked(connection.get(), segment, fd, 0);
  return accepted(connection, request) ? memory : nullptr;
}

std::shared_ptr<FrameMemory> FrameMemory::bySystemV(X11Connection& connection, size_t bytes) {
  const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
  if (id < 0) return nullptr;
  void* data = shmat(id, nullptr, 0);
  const xcb_shm_seg_t segment = xcb_generate_id(connection.get());
  std::shared_ptr<FrameMemory> memory;
  if (reinterpret_cast<intptr_t>(data) != -1) {
    memory.reset(new FrameMemory(data, bytes, Origin::systemV, segment));
    const auto request =
        xcb_shm_attach_checked(connection.get(), segment, static_cast<uint32_t>(id), 0);
    if (!accepted(connection, request)) memory = nullptr;
  }
  // Both sides are attached or have failed to: from here on it lives only as long as they do.
  shmctl(id, IPC_RMID, nullptr);
  return memory;
}

std::shared_ptr<FrameMemory> FrameMemory::ownedHere(size_t bytes) {
  void* data = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (data == MAP_FAILED) return nullptr;
  return std::shared_ptr<FrameMemory>(new FrameMemory(data, bytes, Origin::mapped, XCB_NONE));
}

FrameMemory::~FrameMemory() {
  if (origin_ == Origin::systemV) {
    shmdt(data_);
  } else {
    munmap(data_, bytes_);
  }
}

void FrameMemory::dropPages() {
  // Of shared memory only the first gives them back while the server has them too.
  madvise(data_, bytes_, segment_ != XCB_NONE ? MADV_REMOVE : MADV_DONTNEED);
}

}  // namespace tovalin
