// SPDX-License-Identifier: BSD-3-Clause
// What real processes make of bytes on the socket between them. The first bit of an input says whether the rest
// comes from a worker, for a run, or from a run, for a worker.
#include "check/kxWorkerPool.h"
#include "fuzz/FuzzMessages.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

constexpr int workerSocket = 3;
constexpr int badRequest = 102;  // exit code of a worker that was sent what is no list of checks

// What a worker said, as the messages of fresh encoders, up to the first that is no report.
std::vector<QByteArray> reportsIn(const QByteArray& stream) {
    HeaderStore headers;
    ReportDecoder decoder(headers);
    std::vector<QByteArray> reports;
    for (const QByteArray& content : messagesOf(stream)) {
        const auto report = decoder.decode(content);
        if (!report) break;
        reports.push_back(ReportEncoder().encode(*report));
    }
    return reports;
}

// Each frame has one report: one that its worker sent, or that there was trouble with it.
void runOverBytes(FuzzInput input) {
    const Level level = input.takeBit() ? Level::pixels : Level::headers;
    const QByteArray bytes = restOf(input);
    const std::vector<QByteArray> sent = reportsIn(bytes);
    WorkerPool pool({}, [&bytes](const FileCheck&) -> FileReport {
        _exit(write(workerSocket, bytes.constData(), static_cast<std::size_t>(bytes.size())) < 0 ? 1 : 0);
    });
    constexpr int frames = 2;
    for (int i = 0; i < frames; ++i) pool.add({"frame", level});
    for (int i = 0; i < frames; ++i) {
        const auto report = pool.next();
        require(report.has_value());
        const bool isTrouble = report->findings.size() == 1 && report->findings.front().code == Code::limit;
        const bool isSent = std::count(sent.begin(), sent.end(), ReportEncoder().encode(*report)) > 0;
        require(isTrouble || isSent);
    }
    require(!pool.next() && !pool.stopped());
}

// What a worker says to the stream until it ends by itself.
QByteArray answerOf(const Worker& worker, const QByteArray& stream) {
    require(send(worker.socket, stream.constData(), static_cast<std::size_t>(stream.size()), MSG_NOSIGNAL) ==
            stream.size());
    shutdown(worker.socket, SHUT_WR);
    QByteArray answer;
    for (;;) {
        char bytes[4096];
        pollfd polled{worker.socket, POLLIN, 0};
        poll(&polled, 1, -1);
        const ssize_t count = recv(worker.socket, bytes, sizeof bytes, 0);
        if (count <= 0) return answer;
        answer.append(bytes, static_cast<int>(count));
    }
}

// A worker answers every check up to the first message that is none, and says by its end that there was one.
void askWorker(FuzzInput input) {
    const QByteArray stream = restOf(input);
    std::vector<QByteArray> paths;
    bool isWhole = true;
    for (const QByteArray& content : messagesOf(stream)) {
        const auto checks = decodeChecks(content);
        isWhole = checks.has_value();
        if (!isWhole) break;
        for (const FileCheck& check : *checks) paths.push_back(check.path);
    }
    Worker worker;
    const CheckFunction check = [](const FileCheck& file) {
        FileReport report;
        report.cacheFault = file.path.left(100);
        return report;
    };
    require(startWorker(check, {}, worker) == 0);
    const auto answers = messagesOf(answerOf(worker, stream));
    close(worker.socket);
    int status = 0;
    require(waitpid(worker.process, &status, 0) == worker.process);
    require(WIFEXITED(status) && WEXITSTATUS(status) == (isWhole ? 0 : badRequest));
    require(answers.size() == paths.size());
    HeaderStore store;
    ReportDecoder decoder(store);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const auto report = decoder.decode(answers[i]);
        require(report && report->cacheFault == paths[i].left(100));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    FuzzInput input(bytes, size);
    (input.takeBit() ? askWorker : runOverBytes)(input);
    return 0;
}
