// SPDX-License-Identifier: BSD-3-Clause
// What a run and its workers say to each other, as it is encoded and decoded. The first byte of an input says what
// the rest is: a worker's messages, the run's, or a report to be sent.
#include "check/kxFrameInfo.h"
#include "check/kxFrameLines.h"
#include "check/kxJsonLines.h"
#include "check/kxWorkerMessage.h"
#include "fuzz/FuzzMessages.h"
#include "fuzz/FuzzReport.h"

#include <cstddef>

using namespace kxCheck;

namespace {

// All that is told of it, and its message.
QByteArray everythingOf(const FileReport& report) {
    FrameReport frame;
    frame.file = report;
    frame.findings = report.findings;
    return frameJson(frame) + sequenceLine({}, report.headers.get()) + ReportEncoder().encode(report);
}

// A report that was taken may be sent on and says the same there.
void requireSame(const FileReport& report) {
    HeaderStore store;
    const QByteArray message = ReportEncoder().encode(report);
    require(message.size() <= static_cast<int>(greatestMessage));
    const auto received = ReportDecoder(store).decode(message);
    require(received.has_value());
    require(everythingOf(*received) == everythingOf(report));
}

void takeReports(FuzzInput input) {
    HeaderStore store;
    ReportDecoder decoder(store);
    for (const QByteArray& content : messagesOf(restOf(input)))
        if (const auto report = decoder.decode(content)) {
            requireSame(*report);
            FrameReport frame;
            frame.file = *report;
            for (const QByteArray& line : infoLines(frame)) require(!line.isEmpty());
        }
}

void takeChecks(FuzzInput input) {
    const auto checks = decodeChecks(restOf(input));
    if (!checks) return;
    const QByteArray encoded = encodeChecks(*checks);
    const auto again = decodeChecks(encoded);
    require(again && encodeChecks(*again) == encoded && again->size() == checks->size());
}

void sendReport(FuzzInput input) {
    requireSame(FuzzReport(input).file());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    FuzzInput input(bytes, size);
    constexpr void (*ways[])(FuzzInput) = {takeReports, takeChecks, sendReport};
    ways[input.take<uint8_t>() % 3](input);
    return 0;
}
