// Loaded before the C library of a program under test: makes its Nth call of one kind fail. The
// file named by FAILING_CALLS holds a Plan, which the test maps too and changes while the program
// runs.

#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

// The sanitizer's own, where the program has one; the C library's otherwise.
extern "C" {
__attribute__((weak)) void* __interceptor_malloc(std::size_t);
__attribute__((weak)) void* __interceptor_calloc(std::size_t, std::size_t);
__attribute__((weak)) void* __interceptor_realloc(void*, std::size_t);
__attribute__((weak)) void* __interceptor_memalign(std::size_t, std::size_t);
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
}

namespace {

// failing_calls.py writes the same.
struct Plan {
  std::atomic<std::int32_t> error;    // what errno becomes
  std::atomic<std::uint32_t> first;   // the call that fails, counted from 1; 0: none
  std::atomic<std::uint32_t> count;   // how many fail from there on
  std::atomic<std::int32_t> process;  // whose calls; 0: anybody's
  std::atomic<std::uint32_t> seen;    // calls so far
  std::atomic<std::uint32_t> failed;
  char call[40];
};

Plan* plan = nullptr;

__attribute__((constructor)) void readPlan() {
  const char* path = std::getenv("FAILING_CALLS");
  if (path == nullptr) return;
  const long file = syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC);
  if (file < 0) std::abort();
  const long map =
      syscall(SYS_mmap, nullptr, sizeof(Plan), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0L);
  if (map < 0) std::abort();
  syscall(SYS_close, file);
  plan = reinterpret_cast<Plan*>(map);
}

bool fails(const char* call) {
  if (plan == nullptr) return false;
  const std::uint32_t first = plan->first;
  if (first == 0 || std::strcmp(call, plan->call) != 0) return false;
  if (plan->process != 0 && plan->process != getpid()) return false;
  const std::uint32_t now = ++plan->seen;
  if (now < first || now - first >= plan->count) return false;
  ++plan->failed;
  errno = plan->error;
  return true;
}

// Whether it is a socket (S_IFSOCK), a file (S_IFREG), ...
bool is(mode_t type, int descriptor) {
  struct stat what {};
  return syscall(SYS_fstat, descriptor, &what) == 0 && (what.st_mode & S_IFMT) == type;
}

// The function of that name that would have been called without this file.
template <typename Function>
Function* next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define NEXT(name)                                \
  static auto* const pass = next(&::name, #name); \
  static_assert(sizeof pass == sizeof(void (*)()))

extern "C" {

int accept4(int fd, sockaddr* address, socklen_t* length, int flags) {
  NEXT(accept4);
  return fails("accept4") ? -1 : pass(fd, address, length, flags);
}

ssize_t recv(int fd, void* data, size_t size, int flags) {
  NEXT(recv);
  return fails("recv") ? -1 : pass(fd, data, size, flags);
}

// Of sockets and files: the loop's own pipes and counters are not what is meant.
ssize_t read(int fd, void* data, size_t size) {
  NEXT(read);
  const bool failing =
      (is(S_IFSOCK, fd) && fails("read")) || (is(S_IFREG, fd) && fails("file read"));
  return failing ? -1 : pass(fd, data, size);
}

ssize_t write(int fd, const void* data, size_t size) {
  NEXT(write);
  return is(S_IFSOCK, fd) && fails("write") ? -1 : pass(fd, data, size);
}

// The descriptor is gone all the same, as the system has it.
int close(int fd) {
  NEXT(close);
  const bool failing = fails("close");
  const int error = errno;
  const int result = pass(fd);
  if (!failing) return result;
  errno = error;
  return -1;
}

ssize_t send(int fd, const void* data, size_t size, int flags) {
  NEXT(send);
  return fails("send") ? -1 : pass(fd, data, size, flags);
}

ssize_t sendmsg(int fd, const msghdr* message, int flags) {
  NEXT(sendmsg);
  return fails("sendmsg") ? -1 : pass(fd, message, flags);
}

int socket(int domain, int type, int protocol) noexcept {
  NEXT(socket);
  return fails("socket") ? -1 : pass(domain, type, protocol);
}

int connect(int fd, const sockaddr* address, socklen_t length) {
  NEXT(connect);
  return fails("connect") ? -1 : pass(fd, address, length);
}

int bind(int fd, const sockaddr* address, socklen_t length) noexcept {
  NEXT(bind);
  return fails("bind") ? -1 : pass(fd, address, length);
}

int listen(int fd, int backlog) noexcept {
  NEXT(listen);
  return fails("listen") ? -1 : pass(fd, backlog);
}

int getsockname(int fd, sockaddr* address, socklen_t* length) noexcept {
  NEXT(getsockname);
  return fails("getsockname") ? -1 : pass(fd, address, length);
}

int getsockopt(int fd, int level, int option, void* value, socklen_t* length) noexcept {
  NEXT(getsockopt);
  return fails("getsockopt") ? -1 : pass(fd, level, option, value, length);
}

int setsockopt(int fd, int level, int option, const void* value, socklen_t length) noexcept {
  NEXT(setsockopt);
  return fails("setsockopt") ? -1 : pass(fd, level, option, value, length);
}

int shutdown(int fd, int how) noexcept {
  NEXT(shutdown);
  return fails("shutdown") ? -1 : pass(fd, how);
}

int poll(pollfd* list, nfds_t count, int timeout) {
  NEXT(poll);
  return fails("poll") ? -1 : pass(list, count, timeout);
}

int ppoll(pollfd* list, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  NEXT(ppoll);
  return fails("ppoll") ? -1 : pass(list, count, timeout, mask);
}

int epoll_create1(int flags) noexcept {
  NEXT(epoll_create1);
  return fails("epoll_create1") ? -1 : pass(flags);
}

int epoll_ctl(int fd, int operation, int which, epoll_event* event) noexcept {
  NEXT(epoll_ctl);
  const char* call = operation == EPOLL_CTL_ADD ? "epoll_ctl add" : "epoll_ctl mod";
  return operation != EPOLL_CTL_DEL && fails(call) ? -1 : pass(fd, operation, which, event);
}

int epoll_wait(int fd, epoll_event* events, int count, int timeout) {
  NEXT(epoll_wait);
  return fails("epoll_wait") ? -1 : pass(fd, events, count, timeout);
}

int eventfd(unsigned value, int flags) noexcept {
  static auto* const pass = reinterpret_cast<int (*)(unsigned, int)>(dlsym(RTLD_NEXT, "eventfd"));
  return fails("eventfd") ? -1 : pass(value, flags);
}

int timerfd_create(int clock, int flags) noexcept {
  static auto* const pass = reinterpret_cast<int (*)(int, int)>(dlsym(RTLD_NEXT, "timerfd_create"));
  return fails("timerfd_create") ? -1 : pass(clock, flags);
}

int pipe(int* ends) noexcept {
  NEXT(pipe);
  return fails("pipe") ? -1 : pass(ends);
}

// The programs are built with file offsets of 64 bits: of these calls they know no others.

// Duplicates alone.
int fcntl64(int fd, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* argument = va_arg(rest, void*);
  va_end(rest);
  static auto* const pass = reinterpret_cast<int (*)(int, int, ...)>(dlsym(RTLD_NEXT, "fcntl64"));
  return command == F_DUPFD_CLOEXEC && fails("fcntl dup") ? -1 : pass(fd, command, argument);
}

int open64(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const auto mode = static_cast<mode_t>(va_arg(rest, int));
  va_end(rest);
  static auto* const pass =
      reinterpret_cast<int (*)(const char*, int, ...)>(dlsym(RTLD_NEXT, "open64"));
  return fails("open") ? -1 : pass(path, flags, mode);
}

int fstat64(int fd, struct stat64* what) noexcept {
  static auto* const pass =
      reinterpret_cast<int (*)(int, struct stat64*)>(dlsym(RTLD_NEXT, "fstat64"));
  return fails("fstat") ? -1 : pass(fd, what);
}

int stat64(const char* path, struct stat64* what) noexcept {
  static auto* const pass =
      reinterpret_cast<int (*)(const char*, struct stat64*)>(dlsym(RTLD_NEXT, "stat64"));
  return fails("stat") ? -1 : pass(path, what);
}

void* mmap64(void* address, size_t size, int protection, int flags, int fd,
             off64_t offset) noexcept {
  NEXT(mmap64);
  return fails("mmap") ? MAP_FAILED : pass(address, size, protection, flags, fd, offset);
}

// The library of password hashes has its memory so.
void* mmap(void* address, size_t size, int protection, int flags, int fd, off_t offset) noexcept {
  NEXT(mmap);
  return fails("mmap") ? MAP_FAILED : pass(address, size, protection, flags, fd, offset);
}

int munmap(void* address, size_t size) noexcept {
  NEXT(munmap);
  return fails("munmap") ? -1 : pass(address, size);
}

FILE* fopen64(const char* path, const char* mode) {
  NEXT(fopen64);
  return fails("fopen") ? nullptr : pass(path, mode);
}

ssize_t pread64(int fd, void* data, size_t size, off64_t at) {
  NEXT(pread64);
  return fails("pread") ? -1 : pass(fd, data, size, at);
}

ssize_t pwrite64(int fd, const void* data, size_t size, off64_t at) {
  NEXT(pwrite64);
  return fails("pwrite") ? -1 : pass(fd, data, size, at);
}

int ftruncate64(int fd, off64_t size) noexcept {
  NEXT(ftruncate64);
  return fails("ftruncate") ? -1 : pass(fd, size);
}

int fdatasync(int fd) {
  NEXT(fdatasync);
  return fails("fdatasync") ? -1 : pass(fd);
}

int fsync(int fd) {
  NEXT(fsync);
  return fails("fsync") ? -1 : pass(fd);
}

int dup(int fd) noexcept {
  NEXT(dup);
  return fails("dup") ? -1 : pass(fd);
}

ssize_t getrandom(void* data, size_t size, unsigned flags) {
  NEXT(getrandom);
  return fails("getrandom") ? -1 : pass(data, size, flags);
}

int gethostname(char* name, size_t size) noexcept {
  NEXT(gethostname);
  return fails("gethostname") ? -1 : pass(name, size);
}

pid_t fork() noexcept {
  NEXT(fork);
  return fails("fork") ? -1 : pass();
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                   void* argument) noexcept {
  NEXT(pthread_create);
  return fails("pthread_create") ? errno : pass(thread, attributes, run, argument);
}

size_t fwrite(const void* data, size_t size, size_t count, FILE* file) {
  NEXT(fwrite);
  return fails("fwrite") ? 0 : pass(data, size, count, file);
}

int fflush(FILE* file) {
  NEXT(fflush);
  return fails("fflush") ? EOF : pass(file);
}

void* malloc(size_t size) noexcept {
  if (fails("malloc")) return nullptr;
  return __interceptor_malloc != nullptr ? __interceptor_malloc(size) : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) noexcept {
  if (fails("malloc")) return nullptr;
  return __interceptor_calloc != nullptr ? __interceptor_calloc(count, size)
                                         : __libc_calloc(count, size);
}

void* realloc(void* old, size_t size) noexcept {
  if (fails("malloc")) return nullptr;
  return __interceptor_realloc != nullptr ? __interceptor_realloc(old, size)
                                          : __libc_realloc(old, size);
}

void* aligned_alloc(size_t alignment, size_t size) noexcept {
  if (fails("malloc")) return nullptr;
  return __interceptor_memalign != nullptr ? __interceptor_memalign(alignment, size)
                                           : __libc_memalign(alignment, size);
}

}  // extern "C"

// The sanitizer's operator new does not come by malloc; the library's does.
void* operator new(std::size_t size) {
  static auto* const pass = reinterpret_cast<void* (*)(std::size_t)>(dlsym(RTLD_NEXT, "_Znwm"));
  if (__interceptor_malloc != nullptr && fails("malloc")) throw std::bad_alloc();
  return pass(size);
}

void* operator new[](std::size_t size) {
  static auto* const pass = reinterpret_cast<void* (*)(std::size_t)>(dlsym(RTLD_NEXT, "_Znam"));
  if (__interceptor_malloc != nullptr && fails("malloc")) throw std::bad_alloc();
  return pass(size);
}
