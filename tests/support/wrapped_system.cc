#include "tests/support/wrapped_system.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/types.h>

#include "host/debug.h"

// Names that the linker's --wrap lays down. On a machine whose C library has one form of open and
// mmap only, the other is never called.
extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_open64(const char* path, int flags, ...) __attribute__((weak));
void* __real_mmap(void* at, std::size_t size, int protection, int flags, int fd, long offset);
void* __real_mmap64(void* at, std::size_t size, int protection, int flags, int fd, off64_t offset)
    __attribute__((weak));
int __real_munmap(void* at, std::size_t size);
int __real_close(int fd);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
void* __real_malloc(std::size_t size);
void __real_free(void* storage);
}

namespace fake {

namespace {

thread_local CallWatch* watch;
// Set while an entry is written down: what that itself calls does not count.
thread_local bool noting;

}  // namespace

CallWatch::CallWatch() { watch = this; }

CallWatch::~CallWatch() { watch = nullptr; }

void CallWatch::note(std::string entry) {
  noting = true;
  calls.push_back(std::move(entry));
  noting = false;
}

std::vector<std::string> CallWatch::fileCalls() const {
  std::vector<std::string> result;
  for (const std::string& call : calls) {
    if (call != "lock" && call != "unlock") result.push_back(call);
  }
  return result;
}

}  // namespace fake

using fake::noting;
using fake::watch;

namespace {

template <typename Open>
int watchedOpen(Open real, const char* path, int flags) {
  if (watch == nullptr) return real(path, flags, 0600);
  watch->note(std::string("open ") + path);
  if (watch->openError != 0) {
    errno = watch->openError;
    return -1;
  }
  const int fd = real(path, flags, 0600);
  if (fd >= 0) ++watch->openFiles;
  return fd;
}

template <typename Map, typename Offset>
void* watchedMmap(Map real, void* at, std::size_t size, int protection, int flags, int fd,
                  Offset offset) {
  if (watch == nullptr) return real(at, size, protection, flags, fd, offset);
  watch->note("mmap " + std::to_string(size));
  if (protection != PROT_READ || (flags & MAP_SHARED) == 0 || offset != 0) {
    watch->sharedReadOnly = false;
  }
  if ((flags & MAP_POPULATE) == 0) watch->populated = false;
  if (watch->mmapError != 0) {
    errno = watch->mmapError;
    return MAP_FAILED;
  }
  if (watch->nowhere) return nullptr;
  void* const data = real(at, size, protection, flags, fd, offset);
  if (data != MAP_FAILED) ++watch->mappings;
  return data;
}

}  // namespace

extern "C" {

int __wrap_open(const char* path, int flags, ...) { return watchedOpen(__real_open, path, flags); }

int __wrap_open64(const char* path, int flags, ...) {
  return watchedOpen(__real_open64, path, flags);
}

void* __wrap_mmap(void* at, std::size_t size, int protection, int flags, int fd, long offset) {
  return watchedMmap(__real_mmap, at, size, protection, flags, fd, offset);
}

void* __wrap_mmap64(void* at, std::size_t size, int protection, int flags, int fd, off64_t offset) {
  return watchedMmap(__real_mmap64, at, size, protection, flags, fd, offset);
}

int __wrap_munmap(void* at, std::size_t size) {
  if (watch != nullptr) {
    watch->note("munmap " + std::to_string(size));
    if (watch->munmapError != 0) {
      errno = watch->munmapError;
      return -1;
    }
    --watch->mappings;
  }
  return __real_munmap(at, size);
}

int __wrap_close(int fd) {
  if (watch != nullptr) {
    watch->note("close");
    --watch->openFiles;
  }
  const int result = __real_close(fd);
  if (watch == nullptr || watch->closeError == 0) return result;
  errno = watch->closeError;
  return -1;
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  if (watch != nullptr && mutex == &DOUTMutex) watch->note("lock");
  return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
  if (watch != nullptr && mutex == &DOUTMutex) watch->note("unlock");
  return __real_pthread_mutex_unlock(mutex);
}

void* __wrap_malloc(std::size_t size) {
  void* const storage = __real_malloc(size);
  if (watch != nullptr && !noting) {
    noting = true;
    watch->taken.push_back(storage);
    noting = false;
  }
  return storage;
}

void __wrap_free(void* storage) {
  if (watch != nullptr && !noting) {
    noting = true;
    watch->freed.push_back(storage);
    noting = false;
  }
  __real_free(storage);
}
}
