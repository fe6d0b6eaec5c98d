// SPDX-License-Identifier: BSD-3-Clause
// A stream of lines that are with the system when the call is over, and that remembers when one was not.
//
// After a failure nothing more is written. One thread at a time.
#pragma once

#include <QByteArray>

namespace kxCheck {

// Whether a regular file is there that begins like an EXR file: what is written never takes a frame's place.
[[nodiscard]] bool isExrFile(const QByteArray& path);

class Output {
public:
    // Writes to an open descriptor, which stays open. `name` is what messages call it.
    Output(int descriptor, const QByteArray& name) : descriptor_(descriptor), name_(name) {}
    // Writes to a file that is made, or emptied, unless it is an EXR file: that is left as it is. See fault().
    explicit Output(const QByteArray& path);
    // Closes what was opened here.
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // All of `bytes`; false when that failed, now or before.
    bool write(const QByteArray& bytes);
    // The same with an end of line.
    bool writeLine(const QByteArray& line) { return write(line + '\n'); }
    // What a file system says only at the end. Nothing is written after it.
    void close();

    // "NAME: No space left on device"; empty as long as all was written.
    [[nodiscard]] QByteArray fault() const;
    [[nodiscard]] bool hasFailed() const { return errorNumber_ != 0; }

private:
    int descriptor_;
    QByteArray name_;
    bool isOwned_ = false;
    bool isRefused_ = false;
    int errorNumber_ = 0;
};

}  // namespace kxCheck
