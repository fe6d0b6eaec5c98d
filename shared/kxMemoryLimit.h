// SPDX-License-Identifier: BSD-3-Clause
// A bound on the memory that a damaged file can make this process ask for.
#pragma once

// Lowers the process's limit of address space (RLIMIT_AS, the soft one) to `bytes`: from then on a request beyond
// it fails at once, as std::bad_alloc or ENOMEM, instead of taking the machine's memory. A lower limit stays as it
// is. Programs that the process starts inherit the limit and may raise it again up to the hard one.
//
// True when a limit of at most `bytes` is in force. False, with nothing changed, in a build with a sanitizer, and
// where less than half of `bytes` would be left to the program: an emulator, or a memory checker that was
// preloaded, holds most of the address space.
//
// The limit holds for all threads of the process; call it from one at a time.
bool kxLimitAddressSpace(long long bytes);

// Lowers the limits of address space, soft and hard, to what the process has mapped now and `bytes` more, for the
// rest of its life; lower ones stay. True when they are in force. False, with nothing changed, in a build with a
// sanitizer, and where the system refuses or does not say what is mapped (/proc/self/statm).
bool kxLimitFurtherAddressSpace(long long bytes);

// Whether this program was built with a sanitizer of addresses, memory or threads.
bool kxIsSanitizerBuild();
