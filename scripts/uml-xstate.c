// Preloaded into a User-Mode Linux kernel on processors whose register state is larger than the kernel was built for
// (AMX): the host takes the state of a process as a whole or not at all, so what the kernel does not know of it is left
// as it is. Built by scripts/in-uml.
#define _GNU_SOURCE
#include <elf.h>
#include <stdarg.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

static char whole_state[65536];

long ptrace(enum __ptrace_request request, ...) {
  va_list arguments;
  va_start(arguments, request);
  const pid_t pid = va_arg(arguments, pid_t);
  void* const address = va_arg(arguments, void*);
  void* data = va_arg(arguments, void*);
  va_end(arguments);

  struct iovec whole = {whole_state, sizeof whole_state};
  if (request == PTRACE_SETREGSET && (unsigned long)address == NT_X86_XSTATE) {
    const struct iovec* const known = data;
    if (syscall(SYS_ptrace, PTRACE_GETREGSET, pid, address, &whole) == 0 && whole.iov_len > known->iov_len) {
      memcpy(whole_state, known->iov_base, known->iov_len);
      data = &whole;
    }
  }
  // The library's own form of these gives the word that was read.
  if (request == PTRACE_PEEKTEXT || request == PTRACE_PEEKDATA || request == PTRACE_PEEKUSER) {
    long word = 0;
    const long result = syscall(SYS_ptrace, request, pid, address, &word);
    return result < 0 ? result : word;
  }
  return syscall(SYS_ptrace, request, pid, address, data);
}
