// Serves one status page many times, for a tool that counts what the module does meanwhile.
//
//   serve-status-pages MODULE PAGE-DIRECTORY COUNT
//
// Prints the compiler that it was built with, as in the record, and the allocations of a request.

#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <sstream>
#include <string>

#include "host/context.h"
#include "host/request.h"
#include "host/response.h"
#include "host/servlet.h"

namespace {

long allocations = 0;
bool counting = false;

// What the host does by itself is not the module's.
class HostsOwn {
 public:
  HostsOwn() : before_(counting) { counting = false; }
  ~HostsOwn() { counting = before_; }
  HostsOwn(const HostsOwn&) = delete;
  HostsOwn& operator=(const HostsOwn&) = delete;

 private:
  const bool before_;
};

constexpr std::uint32_t kClient = 0x02320a0a;

// Of a guest who logged in a while ago; with every limit, so that the page shows all that it can.
nv::message statusReply(const std::string& pageDir) {
  nv::message reply;
  reply.insert_u32(0x08000450, 0);
  reply.insert_bool(0x00000452, false);
  reply.insert_string(0x2000044d, pageDir);
  reply.insert_string(0x2000044e, "portal.example.net");
  reply.insert_be32(0x0800044f, kClient);
  reply.insert_string(0x20000455, "hotspot1");
  reply.insert_string(0x20000458, "Example hotspot");
  reply.insert_raw(0x3000000b, {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e});
  reply.insert_bool(0x00000451, true);
  reply.insert_string(0x20000001, "anna");
  reply.insert_string(0x20000013, "http-chap");
  reply.insert_u32(0x08000011, 1);
  reply.insert_u32(0x08000003, nv::getUptime() - 3723);
  reply.insert_u32(0x08000004, nv::getUptime() + 7384);
  reply.insert_u32(0x0800000e, 1800);
  reply.insert_u32(0x08000453, 60);
  reply.insert_u64(0x10000015, 123456789);
  reply.insert_u64(0x10000016, 98765);
  reply.insert_u64(0x10000017, 1234567890);
  reply.insert_u64(0x10000018, 987654);
  reply.insert_u64(0x1000001f, 2000000000);
  reply.insert_u64(0x10000020, 3000000000);
  reply.insert_u64(0x10000021, 4000000000);
  return reply;
}

class FixedContext : public Context {
 public:
  explicit FixedContext(const nv::message& reply) : reply_(reply) {}
  nv::message sendRequest(nv::message&, unsigned) override {
    const HostsOwn own;
    return reply_;
  }

 private:
  const nv::message reply_;
};

class StatusRequest : public Request {
 public:
  StatusRequest() {
    method = kMethodGet;
    protocol = kProtoHttp;
    path = "/status";
    relPath = "status";
    hasRelPath = true;
    clientAddr = kClient;
    localAddr = kClient;
    headers.addHeader("Host", "portal.example.net", false);
    headers.addHeader("User-Agent", "Mozilla/5.0", false);
    headers.addHeader("Cookie", "first=1; other=two", false);
  }
  bool getDstHost(std::string&) const override { return false; }
  bool readPostData(std::string&, unsigned int) const override { return false; }
  void initOrigDst() const override {}
};

// Collects the page in memory that it has from the beginning.
class PageBuffer : public std::streambuf {
 public:
  void reset() { setp(bytes_, bytes_ + sizeof bytes_); }
  std::string text() const { return {pbase(), pptr()}; }

 private:
  char bytes_[16384];
};

class PageResponse : public Response {
 public:
  void setStatus(int, const std::string&) override {}
  void sendError(int status, const std::string&) override {
    std::fprintf(stderr, "serve-status-pages: the module answered %d\n", status);
    std::exit(1);
  }
  std::ostream* getBufferedOutput(bool) override { return &stream_; }
  std::ostream* getOutput() override { return &stream_; }

  void reset() {
    headers = Headers();
    page.reset();
    stream_.clear();
  }

  PageBuffer page;

 private:
  std::ostream stream_{&page};
};

}  // namespace

void* operator new(std::size_t size) {
  if (counting) ++allocations;
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

// The tool counts while this runs, and finds it by its name.
extern "C" __attribute__((noinline)) void serveCounted(Servlet* servlet, Context* context,
                                                       const Request* request,
                                                       PageResponse* response, int count) {
  for (int i = 0; i < count; ++i) {
    response->reset();
    counting = true;
    servlet->doMethod(*context, *request, *response);
    counting = false;
  }
}

int main(int argc, char** argv) {
  const int count = argc == 4 ? std::atoi(argv[3]) : 0;
  if (count < 1) {
    std::fputs("usage: serve-status-pages MODULE PAGE-DIRECTORY COUNT\n", stderr);
    return 2;
  }
  void* const module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  void* const create = module != nullptr ? dlsym(module, "createServlet") : nullptr;
  if (create == nullptr) {
    std::fprintf(stderr, "serve-status-pages: %s\n", dlerror());
    return 1;
  }
  const std::unique_ptr<Servlet> servlet(reinterpret_cast<Servlet* (*)()>(create)());
  FixedContext context(statusReply(argv[2]));
  const StatusRequest request;
  PageResponse response;
  // What is done once, at the first request.
  serveCounted(servlet.get(), &context, &request, &response, 1);
  const std::string first = response.page.text();
  if (first.find("<dt>User</dt><dd>anna</dd>") == std::string::npos) {
    std::fprintf(stderr, "serve-status-pages: that is no status page:\n%s\n", first.c_str());
    return 1;
  }
  allocations = 0;
  serveCounted(servlet.get(), &context, &request, &response, count);
  std::printf("compiler x86-64 g++ %d.%d.%d libstdc++ %d\n", __GNUC__, __GNUC_MINOR__,
              __GNUC_PATCHLEVEL__, __GLIBCXX__);
  std::printf("allocations %ld\npage %zu\n", allocations / count, first.size());
  return 0;
}
