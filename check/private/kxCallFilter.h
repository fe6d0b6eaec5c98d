// SPDX-License-Identifier: BSD-3-Clause
// Which system calls a worker may make: a filter in the kernel, made with libseccomp.
#pragma once

namespace kxCheck {

// Whether files may be made, written, renamed and removed; emptied they never are. Where is not for this filter to
// tell: see limitWriting().
enum class FileChanges { refused, allowed };

// From now on, and for good, the calling thread may read files and say what is known of them, have memory that is
// not executed, tell the time and wait, write to what it has open, and end; no more. It starts no thread, process
// or program, and opens no connection. A call that is not allowed fails with ENOSYS; one
// in the way of another processor (x32, 32 bits) ends the thread.
//
// False, with nothing changed, where the kernel refuses filters, for want of memory, and in builds without
// libseccomp or for other processors than x86_64 and aarch64. New threads of the thread would inherit the filter.
[[nodiscard]] bool limitSystemCalls(FileChanges changes);

// Whether this build has libseccomp.
[[nodiscard]] bool canLimitSystemCalls();

}  // namespace kxCheck
