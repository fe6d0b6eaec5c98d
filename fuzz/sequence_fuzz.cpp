// SPDX-License-Identifier: BSD-3-Clause
// Splitting a path and finding its sequence. The input is lines: the path's last part, two lines of options, the
// names of the directory's files.
#include "fuzz/FuzzDirectory.h"
#include "fuzz/FuzzInput.h"
#include "image/KX_DataTypes_imageList.h"
#include "shared/kxLog.h"

#include <cstddef>
#include <memory>
#include <sstream>

namespace {

constexpr int mostFiles = 64;

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
    static FuzzDirectory directory;
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
