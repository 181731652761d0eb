// The module as a host uses it: loaded, created, called through the servlet's slots, deleted.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "host/servlet.h"
#include "tests/module/elf_file.h"
#include "tests/support/fake_host.h"
#include "tests/support/messages.h"
#include "tests/support/page_dir.h"

namespace {

using fake::Reply;
using Names = std::vector<std::string>;

// A copy of the module, loaded; a module that nobody has created a servlet of.
class LoadedModule {
 public:
  LoadedModule() : path_(directory_.path() + "hotspot.so") {
    std::filesystem::copy_file(HOTSPOT_MODULE, path_);
    handle_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
  }
  ~LoadedModule() {
    if (handle_ != nullptr) dlclose(handle_);
  }
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  template <typename T>
  T* find(const char* name) const {
    return reinterpret_cast<T*>(dlsym(handle_, name));
  }
  Servlet* create() const { return find<Servlet*()>("createServlet")(); }
  Servlet* instance() const { return *find<Servlet*>("hsServlet"); }
  const std::string& path() const { return path_; }
  // True when the loader has let go of it.
  bool unload() {
    dlclose(handle_);
    handle_ = nullptr;
    return dlopen(path_.c_str(), RTLD_NOW | RTLD_NOLOAD) == nullptr;
  }

 private:
  fake::PageDir directory_;
  std::string path_;
  void* handle_ = nullptr;
};

std::string serveLogin(Servlet* servlet) {
  fake::PageDir pages;
  pages.write("flogin.html", "$(error-type) $(username)");
  fake::FakeContext ctx;
  ctx.replies = {Reply().text(0x2000044d, pages.path()).text(0x20000001, "anna").error(6, "no")};
  fake::FakeRequest req;
  req.path = "/login";
  fake::FakeResponse resp;
  servlet->doMethod(ctx, req, resp);
  return resp.buffered.text();
}

TEST(LoadedModule, LoadingWritesNothingAndCreatesNothing) {
  const fake::DebugCapture debug;
  const LoadedModule module;
  EXPECT_EQ(module.instance(), nullptr);
  EXPECT_EQ(debug.text(), "");
}

TEST(LoadedModule, FactoryBuildsOneServletHoweverOftenItIsCalled) {
  const fake::DebugCapture debug;
  const LoadedModule module;
  Servlet* const servlet = module.create();
  ASSERT_NE(servlet, nullptr);
  EXPECT_EQ(module.instance(), servlet);
  EXPECT_EQ(module.create(), servlet);
  EXPECT_EQ(module.instance(), servlet);
  EXPECT_EQ(debug.pieces(), (Names{"HSrv created", "\n"}));
  delete servlet;
}

TEST(LoadedModule, DeletionLeavesTheInstancePointerAlone) {
  const LoadedModule module;
  Servlet* const servlet = module.create();
  const auto before = reinterpret_cast<std::uintptr_t>(servlet);
  delete servlet;
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(module.instance()), before);
}

// The operations' slots, by one class each that overrides just that one.
struct OwnIsDirectory : Servlet {
  bool isDirectory() override { return true; }
};
struct OwnIsProxy : Servlet {
  bool isProxy() override { return true; }
};
struct OwnGetPath : Servlet {
  std::string getPath() override { return "/"; }
};
struct OwnDoGet : Servlet {
  void doGet(Context&, const Request&, Response&) override {}
};
struct OwnDoHead : Servlet {
  void doHead(Context&, const Request&, Response&) override {}
};
struct OwnDoPost : Servlet {
  void doPost(Context&, const Request&, Response&) override {}
};
struct OwnDoMethod : Servlet {
  void doMethod(Context&, const Request&, Response&) override {}
};
struct OwnParseConfig : Servlet {
  void parseConfig(const xml::Node&) override {}
};
struct OwnOnNotify : Servlet {
  void onNotify(const nv::message&, unsigned int) override {}
};

constexpr std::size_t kSlots = 11;
constexpr std::size_t kFirstOperation = 2;  // behind the two destructors

void* const* slotsOf(const Servlet& servlet) {
  return *reinterpret_cast<void* const* const*>(&servlet);
}

// The one operation that the class overrides.
template <typename Own>
std::vector<std::size_t> ownSlots() {
  const Servlet base;
  const Own own;
  std::vector<std::size_t> result;
  for (std::size_t slot = kFirstOperation; slot < kSlots; ++slot) {
    if (slotsOf(own)[slot] != slotsOf(base)[slot]) result.push_back(slot);
  }
  return result;
}

TEST(LoadedModule, SlotsOfTheHostsServletStandInTheirOrder) {
  using Slots = std::vector<std::size_t>;
  EXPECT_EQ(ownSlots<OwnIsDirectory>(), Slots{2});
  EXPECT_EQ(ownSlots<OwnIsProxy>(), Slots{3});
  EXPECT_EQ(ownSlots<OwnGetPath>(), Slots{4});
  EXPECT_EQ(ownSlots<OwnDoGet>(), Slots{5});
  EXPECT_EQ(ownSlots<OwnDoHead>(), Slots{6});
  EXPECT_EQ(ownSlots<OwnDoPost>(), Slots{7});
  EXPECT_EQ(ownSlots<OwnDoMethod>(), Slots{8});
  EXPECT_EQ(ownSlots<OwnParseConfig>(), Slots{9});
  EXPECT_EQ(ownSlots<OwnOnNotify>(), Slots{10});
}

TEST(LoadedModule, ServletOverridesItsDestructorIsDirectoryAndDoMethodAlone) {
  const LoadedModule module;
  Servlet* const servlet = module.create();
  const Servlet base;
  for (std::size_t slot = 0; slot < kSlots; ++slot) {
    SCOPED_TRACE(slot);
    const bool isOwn = slot < kFirstOperation || slot == 2 || slot == 8;
    EXPECT_EQ(slotsOf(*servlet)[slot] != slotsOf(base)[slot], isOwn);
    if (!isOwn) continue;
    Dl_info info;
    ASSERT_NE(dladdr(slotsOf(*servlet)[slot], &info), 0);
    EXPECT_EQ(info.dli_fname, module.path());
  }
  delete servlet;
}

TEST(LoadedModule, OperationsAreReachedThroughTheirSlots) {
  const LoadedModule module;
  Servlet* const servlet = module.create();
  EXPECT_TRUE(servlet->isDirectory());
  EXPECT_FALSE(servlet->isProxy());
  EXPECT_EQ(servlet->getPath(), "");
  EXPECT_EQ(serveLogin(servlet), "user-session-limit anna");
  fake::FakeContext ctx;
  const fake::FakeRequest req;
  fake::FakeResponse resp;
  servlet->doGet(ctx, req, resp);  // the base's
  EXPECT_EQ(resp.errors.size(), 1U);
  EXPECT_TRUE(ctx.commands.empty());
  delete servlet;
}

TEST(LoadedModule, TablesOfNamesCanBeRead) {
  const LoadedModule module;
  const char* const* const commands = module.find<const char* const>("cmdStr");
  const char* const* const states = module.find<const char* const>("ifStr");
  ASSERT_NE(commands, nullptr);
  ASSERT_NE(states, nullptr);
  EXPECT_EQ(Names(commands, commands + 5), (Names{"none", "if", "elif", "else", "endif"}));
  EXPECT_EQ(Names(states, states + 5), (Names{"none", "nomatch", "match", "wasmatch", "return"}));
}

TEST(LoadedModule, FormattingFunctionsCanBeCalled) {
  const LoadedModule module;
  for (const std::string& symbol : readElfFile(module.path()).exports) {
    if (plainName(symbol) != "getTimeStr") continue;
    EXPECT_EQ(module.find<std::string(unsigned)>(symbol.c_str())(90061), "1d1h1m1s");
    return;
  }
  ADD_FAILURE() << "no getTimeStr";
}

TEST(LoadedModule, UnloadsAfterTheNamesOfTheErrorsWereBuilt) {
  LoadedModule module;
  Servlet* const servlet = module.create();
  EXPECT_EQ(serveLogin(servlet), "user-session-limit anna");
  delete servlet;
  EXPECT_TRUE(module.unload());
}

TEST(LoadedModule, TwoCopiesKnowNothingOfEachOther) {
  const LoadedModule first;
  const LoadedModule second;
  Servlet* const servlet = first.create();
  EXPECT_EQ(second.instance(), nullptr);
  delete servlet;
}

}  // namespace
