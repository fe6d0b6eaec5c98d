// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/PlayedWorker.h"

#include "check/kxWorkerMessage.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <stdexcept>
#include <thread>

#include <sys/mman.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

constexpr int workerSocket = 3;

void writeToRun(const QByteArray& bytes) {
    const ssize_t written = write(workerSocket, bytes.constData(), static_cast<std::size_t>(bytes.size()));
    if (written < 0) _exit(99);
}

void wait(int microseconds) {
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

[[noreturn]] void waitForEver() {
    for (;;) pause();
}

// Frames that this worker had before the one that it is at.
std::int64_t framesBefore = -1;

// As the worker's report of this number.
QByteArray messageOf(const FileReport& report, std::int64_t number = 0) {
    ReportEncoder encoder;
    while (number-- > 0) static_cast<void>(encoder.encode(FileReport()));
    QByteArray message;
    appendMessage(message, encoder.encode(report));
    return message;
}

void fill(int mib, bool touch) {
    const auto size = static_cast<std::size_t>(mib) << 20U;
    volatile char* const block = new char[size];
    block[0] = 1;
    for (std::size_t at = 0; touch && at < size; at += 4096) block[at] = 1;
    delete[] block;
}

// Fills the connection until the run has enough of it.
[[noreturn]] void talkForEver(const QByteArray& bytes) {
    for (;;) writeToRun(bytes);
}

QByteArray lengthOf(std::uint32_t bytes) {
    return QByteArray(reinterpret_cast<const char*>(&bytes), sizeof bytes);
}

void closeAll() {
    for (int descriptor = 0; descriptor < 1000; ++descriptor) close(descriptor);
}

// A child that lives on with the socket for some time.
void leaveAChild() {
    if (fork() != 0) return;
    sleep(20);
    _exit(0);
}

const std::map<QByteArray, std::function<void(int)>>& roles() {
    static const std::map<QByteArray, std::function<void(int)>> table = {
        {"good", [](int value) { wait(value * 7919 % 300); }},
        {"sleep", [](int value) { wait(value * 1000); }},
        {"exit", [](int value) { std::exit(value); }},
        {"signal", [](int value) { raise(value); }},
        {"abort", [](int) { std::abort(); }},
        {"throw", [](int) { throw std::runtime_error("unexpected"); }},
        {"allocate", [](int value) { fill(value, false); }},
        {"touch", [](int value) { fill(value, true); }},
        {"close", [](int) { close(workerSocket), waitForEver(); }},
        {"closeAll", [](int) { closeAll(), waitForEver(); }},
        {"fork", [](int) { leaveAChild(), _exit(5); }},
        {"nonsense", [](int) { writeToRun(QByteArray("\x10\0\0\0 what is this ??", 20)), waitForEver(); }},
        {"half", [](int) { writeToRun(messageOf(numberedReport(1)).left(20)), _exit(0); }},
        {"long", [](int) { writeToRun(QByteArray(8, '\xff')), waitForEver(); }},
        {"endless", [](int) { talkForEver(QByteArray(1 << 16, 'x')); }},
        {"empty", [](int) { talkForEver(lengthOf(0)); }},
        {"slow", [](int) { writeToRun(lengthOf(greatestMessage) + "slow"), waitForEver(); }},
        {"longer", [](int) { writeToRun(lengthOf(greatestMessage + 1)), waitForEver(); }},
        {"short", [](int) { writeToRun(lengthOf(3) + messageOf(numberedReport(1)).mid(4)), waitForEver(); }},
        {"twice", [](int value) { writeToRun(messageOf(numberedReport(value), framesBefore)); }},
        {"surplus", [](int value) { writeToRun(messageOf(numberedReport(value))); }},
    };
    return table;
}

}  // namespace

SharedNotes& sharedNotes() {
    static auto* const notes =
        new (mmap(nullptr, sizeof(SharedNotes), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
            SharedNotes;
    return *notes;
}

FileReport playedCheck(const FileCheck& check) {
    sharedNotes().process = getpid();
    ++sharedNotes().started;
    ++framesBefore;
    const auto words = check.path.split(' ');
    const int value = words.size() > 1 ? words[1].toInt() : 0;
    roles().at(words[0])(value);
    return numberedReport(value);
}

FileReport numberedReport(int number) {
    FileReport report;
    report.hasIdentity = true;
    report.identity.size = number;
    kxExr::Part part;
    part.name = "beauty";
    report.headers = std::make_shared<const Headers>(Headers{part});
    return report;
}

int numberOf(const FileReport& report) {
    return report.hasIdentity ? static_cast<int>(report.identity.size) : -1;
}

QByteArray firstFinding(const FileReport& report) {
    if (report.findings.empty()) return QByteArray();
    return QByteArray(rowOf(report.findings[0].code).name) + ": " + report.findings[0].text;
}
