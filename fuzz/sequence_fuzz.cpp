// SPDX-License-Identifier: BSD-3-Clause
// Splitting a path and finding its sequence. The input is lines: the path's last part, two lines of options, the
// names of the directory's files.
#include "fuzz/FuzzInput.h"
#include "image/KX_DataTypes_imageList.h"
#include "shared/kxLog.h"
#include "tests/support/TempDir.h"

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int mostFiles = 64;

// libFuzzer ends without destructors: the empty directory stays, in $TMPDIR.
class Directory {
public:
    // Names that cannot be files' are passed over.
    void add(const std::string& name) {
        if (name.find('/') != std::string::npos || name.find('\0') != std::string::npos) return;
        const int file = open(dir_.file(name).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (file < 0) return;
        close(file);
        names_.push_back(name);
    }

    void clear() {
        for (const std::string& name : names_) unlink(dir_.file(name).c_str());
        names_.clear();
    }

    const std::string& path() const { return dir_.path(); }

private:
    const TempDir dir_{std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/dev/shm"};
    std::vector<std::string> names_;
};

class Log : public __KXlog {
public:
    void log(int, int, const QString& text) override { length_ += text.size(); }

private:
    long long length_ = 0;
};

QString text(const std::string& bytes) {
    return QString::fromLatin1(bytes.data(), static_cast<int>(bytes.size()));
}

struct Options {
    int start, end, step, offset;
    bool withLog, refresh;
    std::string frameList;
};

Options takeOptions(FuzzInput& input) {
    std::istringstream numbers(input.takeUntil('\n'));
    Options options{-1, -1, 1, 0, false, false, {}};
    int flags = 0;
    numbers >> options.start >> options.end >> options.step >> options.offset >> flags;
    options.withLog = flags & 1;
    options.refresh = flags & 2;
    options.frameList = input.takeUntil('\n');
    return options;
}

void find(_kxViewSequence& sequence, const Options& options) {
    Log log;
    sequence.findSequence(false, false, QString(), options.start, options.end, options.step, options.offset,
                          text(options.frameList), false, options.withLog ? &log : nullptr);
}

void requireConsistent(const _kxViewSequence& sequence) {
    require(sequence.isValid && sequence.imageCount >= 0 && sequence.imageCount <= _kxViewSequence::slotCount);
    require(sequence.fileCount == sequence.imageCount && sequence.seqStep >= 1);
    for (int i = 0; i < sequence.imageCount; ++i) {
        const kxCHK::_SingleImageView& view = sequence.images[i];
        require(view.frameText.length() <= 15);
        require(i == 0 || sequence.images[i - 1].frameNumber <= +view.frameNumber);
        require(sequence.getDirFileName(i).startsWith(sequence.dirName));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    static Directory directory;
    static const auto sequence = std::make_unique<_kxViewSequence>();
    FuzzInput input(bytes, size);
    const std::string path = directory.path() + input.takeUntil('\n');
    const Options options = takeOptions(input);
    for (int i = 0; i < mostFiles && !input.empty(); ++i) directory.add(input.takeUntil('\n'));

    // Forget the sequence of the input before.
    require(sequence->imageDirFileFromString(QStringLiteral("/nowhere/at.1.all")));
    if (sequence->imageDirFileFromString(text(path))) {
        find(*sequence, options);
        requireConsistent(*sequence);
        if (options.refresh && sequence->imageDirFileFromString(text(path))) {
            directory.clear();
            find(*sequence, options);
            requireConsistent(*sequence);
        }
    }
    directory.clear();
    return 0;
}
