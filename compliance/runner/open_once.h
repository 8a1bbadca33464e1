// The library opened once for all checks.
#ifndef ZEL_COMPLIANCE_OPEN_ONCE_H
#define ZEL_COMPLIANCE_OPEN_ONCE_H

namespace compliance {

/// Opens the library in this process, of which the checks' processes are copies, so that they need not: with all the
/// libraries that it needs itself, that can take longer than a check. Does nothing when opening starts a thread or
/// leaves a descriptor open, which copies would lack or share; a child process finds out, within so many seconds. Call
/// after the library has been opened in a child without a finding.
void open_once(unsigned limit_s);

}  // namespace compliance

#endif
