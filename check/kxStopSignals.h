// SPDX-License-Identifier: BSD-3-Clause
// SIGINT and SIGTERM as a wish to end, which a run can wait for like for its other news.
//
// A signal that comes two seconds after the first or later ends the process at once, which matters when it hangs in
// a call. Signals that the process was started to ignore (as a shell does in the background) stay ignored. At most
// one object at a time.
#pragma once

namespace kxCheck {

class StopSignals {
public:
    StopSignals();
    // What comes later has its default effect again.
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    // Becomes readable with the first signal, and stays so. -1 when the system had none to give.
    [[nodiscard]] int descriptor() const { return ends_[0]; }
    // The first signal that came; 0: none.
    [[nodiscard]] int received() const;

private:
    int ends_[2] = {-1, -1};
};

}  // namespace kxCheck
