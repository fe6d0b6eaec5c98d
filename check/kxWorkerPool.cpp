// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxWorkerPool.h"

#include "check/kxNumberText.h"
#include "shared/kxSystemCall.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kxCheck {

namespace {

using std::chrono::milliseconds;

// Frames in a message at the levels where a frame takes microseconds; one that is decoded is worth a message.
constexpr std::size_t greatestBatch = 64;

// Reports that wait for one before them are bounded by memory, not by number: the reports of a whole sequence find
// room while one frame hangs, and hostile ones with thousands of tiles do not.
constexpr std::int64_t mostWaitingBytes = 16 << 20;
constexpr std::int64_t bytesBesideMessage = 256;

constexpr milliseconds longestWait(1000);
// How long a worker that closed its connection may take to end before it is killed, and all killed ones to go.
constexpr milliseconds endGrace(200);
constexpr milliseconds killGrace(1000);
constexpr milliseconds startGrace(1000);
constexpr milliseconds shortPause(1);

// What a report takes while it waits: about as much as its message. Channels take more, or next to nothing where
// others have the same list.
std::int64_t waitingBytesOf(const FileReport& report, std::int64_t message) {
    constexpr std::int64_t leastInMessage = 28;
    constexpr std::int64_t moreInMemory = 60;
    std::int64_t bytes = message + bytesBesideMessage;
    if (!report.headers) return bytes;
    for (const kxExr::Part& part : *report.headers) {
        const bool isShared = part.channels.shared().use_count() > 1;
        bytes += static_cast<std::int64_t>(part.channels.size()) * (isShared ? -leastInMessage : moreInMemory);
    }
    return std::max(bytes, bytesBesideMessage);
}

FileReport limitReport(const QByteArray& text) {
    FileReport report;
    report.findings = {makeFinding(Code::limit, text)};
    return report;
}

// True when the process is gone, with its status, or was never ours to wait for (status 0).
bool isGone(pid_t process, int& status) {
    const auto result = kxRetryInterrupted<pid_t>(-1, [&] { return waitpid(process, &status, WNOHANG); });
    return result != 0;
}

// The same, for as long as `most`.
bool isGoneWithin(pid_t process, int& status, milliseconds most) {
    const auto end = std::chrono::steady_clock::now() + most;
    while (!isGone(process, status)) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(shortPause);
    }
    return true;
}

}  // namespace

// One worker, the frames it has, and what is on the way between.
struct WorkerPool::Connection {
    Connection(const Worker& started, HeaderStore& store) : worker(started), decoder(store) {}

    [[nodiscard]] bool isIdle() const { return batch.empty(); }
    [[nodiscard]] bool isLost() const { return worker.socket < 0; }

    Worker worker;
    ReportDecoder decoder;
    std::deque<Number> batch;  // frames without a report, the one that it is at first
    QByteArray toSend;
    QByteArray received;
    bool hasReported = false;
    Clock::time_point lastSign;  // of life: the batch was sent, or a report came
};

WorkerPool::WorkerPool(PoolOptions options, CheckFunction check)
    : options_(options), check_(std::move(check)), headers_(options.headers ? *options.headers : ownHeaders_) {
    options_.jobs = std::max(options_.jobs, 1);
}

WorkerPool::~WorkerPool() {
    killAll();
}

void WorkerPool::add(FileCheck check) {
    frames_.push_back({std::move(check), std::nullopt, 0});
}

std::optional<FileReport> WorkerPool::next() {
    if (frames_.empty()) return std::nullopt;
    return nextUntil(Clock::time_point::max());
}

std::optional<FileReport> WorkerPool::nextUntil(Clock::time_point end) {
    shiftDeadlines(Clock::now() - left_);
    std::optional<FileReport> report;
    while (!stopped_ && !report) {
        giveOut();  // also before a report is given back: the workers go on while the caller is away
        if (!frames_.empty() && frames_.front().report)
            report = takeFirst();
        else if (Clock::now() < end)
            waitForNews(end);
        else
            break;
    }
    left_ = Clock::now();
    return report;
}

FileReport WorkerPool::takeFirst() {
    FileReport report = std::move(*frames_.front().report);
    waitingBytes_ -= frames_.front().bytes;
    frames_.pop_front();
    ++first_;
    return report;
}

// --- Giving frames out
// --------------------------------------------------------------------------------------------

WorkerPool::Number WorkerPool::waitingFrames() const {
    return static_cast<Number>(returned_.size()) + end() - fresh_;
}

WorkerPool::Number WorkerPool::firstWaiting() const {
    return returned_.empty() ? fresh_ : *returned_.begin();
}

// The frame that all others wait for always has.
bool WorkerPool::hasRoom() const {
    return waitingBytes_ < mostWaitingBytes || firstWaiting() == first_;
}

// Half of each worker's share of what is left: large while there is much, one by one at the end, so that all
// workers end at about the same time.
std::size_t WorkerPool::batchSize() const {
    const Number next = firstWaiting();
    if (frames_[static_cast<std::size_t>(next - first_)].check.level == Level::pixels) return 1;
    const auto share = static_cast<std::size_t>(waitingFrames() / (2 * Number{options_.jobs}));
    return std::clamp(share, std::size_t{1}, greatestBatch);
}

std::vector<WorkerPool::Number> WorkerPool::takeBatch() {
    std::vector<Number> batch;
    for (std::size_t left = batchSize(); left > 0 && waitingFrames() > 0; --left) {
        batch.push_back(firstWaiting());
        if (returned_.empty())
            ++fresh_;
        else
            returned_.erase(returned_.begin());
    }
    return batch;
}

void WorkerPool::giveOut() {
    while (waitingFrames() > 0 && hasRoom()) {
        Connection* const idle = idleConnection();
        if (!idle) return;
        give(*idle);
        removeLost();
    }
}

void WorkerPool::give(Connection& connection) {
    std::vector<FileCheck> checks;
    for (const Number number : takeBatch()) {
        connection.batch.push_back(number);
        checks.push_back(frame(number).check);
    }
    appendMessage(connection.toSend, encodeChecks(checks));
    connection.lastSign = Clock::now();
    ++traffic_.batches;
    send(connection);
}

// --- Workers
// ------------------------------------------------------------------------------------------------------

// Null when all are busy, or none could be had.
WorkerPool::Connection* WorkerPool::idleConnection() {
    for (const auto& connection : connections_)
        if (connection->isIdle()) return connection.get();
    if (connections_.size() >= static_cast<std::size_t>(options_.jobs)) return nullptr;
    return startConnection();
}

// With other workers there one that can't be started is done without. The last hope is tried for some time, once;
// then it costs the frames that wait, each after a try of its own.
WorkerPool::Connection* WorkerPool::startConnection() {
    Worker worker;
    int error = startWorker(check_, options_.limits, worker);
    if (error != 0 && !connections_.empty()) return nullptr;
    const auto end = Clock::now() + startGrace;
    while (error != 0 && !startFailed_ && Clock::now() < end) {
        std::this_thread::sleep_for(10 * shortPause);
        error = startWorker(check_, options_.limits, worker);
    }
    if (error != 0) {
        failWithoutWorker(error);
        return nullptr;
    }
    startFailed_ = false;
    ++traffic_.workers;
    connections_.push_back(std::make_unique<Connection>(worker, headers_));
    return connections_.back().get();
}

void WorkerPool::failWithoutWorker(int error) {
    startFailed_ = true;
    const QByteArray reason = kxSystemErrorText(error).toLatin1();
    FileReport report;
    report.findings = {makeFinding(Code::unreadable, "no process could be started to read it: " + reason)};
    const Number number = firstWaiting();
    if (returned_.erase(number) == 0) ++fresh_;
    finish(number, std::move(report), 0);
}

// Ends the connection. The frame that the worker was at gets its report, the others wait again.
void WorkerPool::lose(Connection& connection, const QByteArray& what) {
    kill(connection.worker.process, SIGKILL);
    close(connection.worker.socket);
    connection.worker.socket = -1;
    unreaped_.push_back(connection.worker.process);
    if (connection.batch.empty()) return;
    FileReport report = limitReport(what);
    report.seconds = std::chrono::duration<double>(Clock::now() - connection.lastSign).count();
    finish(connection.batch.front(), std::move(report), 0);
    returned_.insert(connection.batch.begin() + 1, connection.batch.end());
    connection.batch.clear();
}

void WorkerPool::removeLost() {
    const auto lost = [](const std::unique_ptr<Connection>& connection) { return connection->isLost(); };
    connections_.erase(std::remove_if(connections_.begin(), connections_.end(), lost), connections_.end());
}

// Why a worker that closed its connection is gone.
QByteArray WorkerPool::endOf(Connection& connection) {
    int status = 0;
    if (!isGoneWithin(connection.worker.process, status, endGrace)) return "the reader closed its connection";
    return "the reader " + workerEndText(status, options_.limits);
}

void WorkerPool::reap() {
    const auto gone = [](pid_t process) {
        int status = 0;
        return isGone(process, status);
    };
    unreaped_.erase(std::remove_if(unreaped_.begin(), unreaped_.end(), gone), unreaped_.end());
}

void WorkerPool::killAll() {
    for (const auto& connection : connections_) {
        connection->batch.clear();
        lose(*connection, QByteArray());
    }
    removeLost();
    const auto end = Clock::now() + killGrace;
    for (reap(); !unreaped_.empty() && Clock::now() < end; reap()) std::this_thread::sleep_for(shortPause);
}

// --- Waiting
// ------------------------------------------------------------------------------------------------------

// A worker whose reports would only wait is left waiting itself, unless the first frame may need its place.
bool WorkerPool::isRead(const Connection& connection) const {
    if (waitingBytes_ < mostWaitingBytes || connection.isIdle()) return true;
    return connection.batch.front() == first_ || firstWaiting() == first_;
}

milliseconds WorkerPool::timeToDeadline(Clock::time_point end) const {
    const auto now = Clock::now();
    Clock::duration wait = std::min<Clock::duration>(longestWait, end - now);
    for (const auto& connection : connections_) {
        if (connection->isIdle()) continue;
        wait = std::min<Clock::duration>(
            wait, connection->lastSign + std::chrono::seconds(options_.secondsPerFrame) - now);
    }
    return std::max(std::chrono::ceil<milliseconds>(wait), milliseconds(0));
}

void WorkerPool::waitForNews(Clock::time_point end) {
    std::vector<pollfd> polled = {{options_.stopDescriptor, POLLIN, 0}};
    for (const auto& connection : connections_) {
        const short wanted = connection->toSend.isEmpty() ? POLLIN : POLLIN | POLLOUT;
        polled.push_back({isRead(*connection) ? connection->worker.socket : -1, wanted, 0});
    }
    const auto start = Clock::now();
    const milliseconds wait = timeToDeadline(end);
    const int count = poll(polled.data(), static_cast<nfds_t>(polled.size()), static_cast<int>(wait.count()));
    // A process that was suspended, its workers with it, has slept longer than it wanted.
    const auto overslept = Clock::now() - start - wait;
    if (overslept > longestWait) shiftDeadlines(overslept);
    if (count > 0 && polled[0].revents != 0) {
        stopped_ = true;
        killAll();
        return;
    }
    for (std::size_t i = 0; count > 0 && i < connections_.size(); ++i) {
        if ((polled[i + 1].revents & POLLOUT) != 0) send(*connections_[i]);
        if ((polled[i + 1].revents & ~POLLOUT) != 0) receive(*connections_[i]);
    }
    endOverdue();
    removeLost();
    reap();
}

void WorkerPool::shiftDeadlines(Clock::duration time) {
    for (const auto& connection : connections_) connection->lastSign += time;
}

// A worker that goes before it takes its first batch costs a frame all the same: otherwise workers that can't live
// would be started for ever. One that went between two batches costs nothing.
void WorkerPool::send(Connection& connection) {
    if (connection.isLost()) return;
    const auto size = static_cast<std::size_t>(connection.toSend.size());
    const ssize_t count = ::send(connection.worker.socket, connection.toSend.constData(), size, MSG_NOSIGNAL);
    if (count >= 0) {
        connection.toSend.remove(0, static_cast<int>(count));
        return;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) return;
    if (connection.hasReported) {
        returned_.insert(connection.batch.begin(), connection.batch.end());
        connection.batch.clear();
    }
    lose(connection, endOf(connection));
}

void WorkerPool::receive(Connection& connection) {
    if (connection.isLost()) return;
    char bytes[65536];
    const ssize_t count = recv(connection.worker.socket, bytes, sizeof bytes, 0);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return;
    if (count <= 0) return lose(connection, endOf(connection));
    connection.received.append(bytes, static_cast<int>(count));
    takeReports(connection);
}

void WorkerPool::takeReports(Connection& connection) {
    QByteArray content;
    int at = 0;
    Arrival arrival = readMessage(connection.received, at, content);
    while (arrival == Arrival::whole && takeReport(connection, content))
        arrival = readMessage(connection.received, at, content);
    if (arrival != Arrival::incomplete) return lose(connection, "the reader sent what is no report");
    connection.received.remove(0, at);
}

bool WorkerPool::takeReport(Connection& connection, const QByteArray& content) {
    std::optional<FileReport> report = connection.decoder.decode(content);
    if (!report || connection.isIdle()) return false;
    ++traffic_.reports;
    connection.hasReported = true;
    connection.lastSign = Clock::now();
    const std::int64_t bytes = waitingBytesOf(*report, content.size());
    finish(connection.batch.front(), std::move(*report), bytes);
    connection.batch.pop_front();
    return true;
}

// What comes from a worker that is not read from at the moment counts as in time.
void WorkerPool::endOverdue() {
    const auto now = Clock::now();
    const auto limit = std::chrono::seconds(options_.secondsPerFrame);
    for (const auto& connection : connections_) {
        if (connection->isLost() || connection->isIdle()) continue;
        if (!isRead(*connection)) connection->lastSign = now;
        if (now - connection->lastSign < limit) continue;
        lose(*connection, "the time limit of " +
                              countText(static_cast<std::size_t>(options_.secondsPerFrame), "second") +
                              " was reached");
    }
}

void WorkerPool::finish(Number number, FileReport report, std::int64_t bytes) {
    Frame& done = frame(number);
    done.report = std::move(report);
    done.bytes = bytes;
    waitingBytes_ += bytes;
}

}  // namespace kxCheck
