#include "webserver/fault_guard.h"

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace web {
namespace {

thread_local bool guarded = false;
std::uintptr_t pageBytes = 4096;

void endAsEver() {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigaction(SIGBUS, &action, nullptr);
}

// Nothing but system calls: it runs in the middle of anything.
void handleFault(int, siginfo_t* info, void*) {
  if (!guarded || info->si_code != BUS_ADRERR) return endAsEver();
  const std::uintptr_t intoPage = reinterpret_cast<std::uintptr_t>(info->si_addr) & (pageBytes - 1);
  void* const address = static_cast<char*>(info->si_addr) - intoPage;
  const void* const zeros =
      mmap(address, pageBytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
  if (zeros == MAP_FAILED) endAsEver();
}

}  // namespace

void installFaultHandler() {
  pageBytes = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  struct sigaction action {};
  action.sa_sigaction = handleFault;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  sigaction(SIGBUS, &action, nullptr);
}

FaultGuard::FaultGuard() { guarded = true; }
FaultGuard::~FaultGuard() { guarded = false; }

}  // namespace web
