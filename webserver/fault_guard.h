// Page files are mapped while their owner may edit them. A file that shrinks under its mapping
// makes the next read behind its new end raise SIGBUS (mmap(2)); inside a FaultGuard such a page
// reads as zeros.

#ifndef WEBSERVER_FAULT_GUARD_H_
#define WEBSERVER_FAULT_GUARD_H_

namespace web {

// Once in a process, before the first guard. A SIGBUS outside of a guard ends the process as ever.
void installFaultHandler();

// Covers the thread for as long as it lives. Not nested.
class FaultGuard {
 public:
  FaultGuard();
  FaultGuard(const FaultGuard&) = delete;
  FaultGuard& operator=(const FaultGuard&) = delete;
  ~FaultGuard();
};

}  // namespace web

#endif  // WEBSERVER_FAULT_GUARD_H_
