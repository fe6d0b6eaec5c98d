// SPDX-License-Identifier: BSD-3-Clause
// Looking into a file at each level beside a bare loop over the C core of the EXR library, that opens the file
// itself and stops where the level stops: at the headers; at the chunk tables, by asking for one chunk; after
// reading, decompressing and unpacking every chunk into planes. Both read the same file from a warm cache on one
// thread. At the level of pixels also with all that is made of the picture, beside the same without.
// Takes files as arguments that are no options; without one, made files in full HD.
#include "benchmarks/BareFile.h"
#include "benchmarks/Compare.h"
#include "check/kxFileReader.h"
#include "check/kxFrameCheck.h"
#include "tests/support/ExrKinds.h"
#include "tests/support/TempDir.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using kxCheck::Level;

void addFile(const std::string& name, const std::string& path) {
    const auto look = [path](Level level) {
        return [path, level] {
            const kxCheck::FileReport report = kxCheck::checkFile({QByteArray::fromStdString(path), level});
            require(report.findings.empty(), path + " is not good");
        };
    };
    addComparison("headers/" + name, 1, look(Level::headers), [path] { const BareFile file(path); });
    addComparison("structure/" + name, 1, look(Level::structure), [path] { BareFile(path).askForOneChunk(); });
    addComparison("pixels/" + name, 1, look(Level::pixels), [path] { BareFile(path).decodeAll(); });
    const auto lookAtPicture = [path] {
        const kxCheck::FileReport report = kxCheck::checkFrame({QByteArray::fromStdString(path)});
        require(report.picture && report.picture->picture, path + " has no picture");
    };
    addComparison("picture/" + name, 1, lookAtPicture, look(Level::pixels));
}

Kind madeFile(Imf::Compression compression, std::size_t parts) {
    KindPart part;
    part.compression = compression;
    part.dataWindow = part.displayWindow = {{0, 0}, {1919, 1079}};
    return {"", std::vector<KindPart>(parts, part)};
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const TempDir dir;
    for (int i = 1; i < argc; ++i) addFile(argv[i], argv[i]);
    if (argc == 1) {
        const std::pair<const char*, Kind> made[] = {{"zip", madeFile(Imf::ZIP_COMPRESSION, 1)},
                                                     {"zips", madeFile(Imf::ZIPS_COMPRESSION, 1)},
                                                     {"piz", madeFile(Imf::PIZ_COMPRESSION, 1)},
                                                     {"none", madeFile(Imf::NO_COMPRESSION, 1)},
                                                     {"zip10parts", madeFile(Imf::ZIP_COMPRESSION, 10)}};
        for (const auto& [name, kind] : made) {
            require(writeFileBytes(dir.file(name), exrBytes(kind)), "no room for the made files");
            addFile(name, dir.file(name));
        }
    }
    benchmark::RunSpecifiedBenchmarks();
}
