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
#include <unistd.h>

namespace kxCheck {

namespace {

using std::chrono::milliseconds;

// Frames in a message at the levels where a frame takes microseconds; one that is decoded is worth a message.
constexpr FrameQueue::Number greatestBatch = 128;
// A worker gets the next batch when it has fewer frames than that and than this left, so that it never waits for
// one.
constexpr FrameQueue::Number fewLeft = 64;
// While all workers have as many as this left, their reports are let come for the length of a nap: being woken for
// each one costs both sides more than the report.
constexpr std::size_t leftForANap = 16;
constexpr milliseconds lengthOfNap(1);

constexpr std::int64_t bytesBesideMessage = 256;

constexpr milliseconds longestWait(1000);
// How long all killed workers may take to go.
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
    std::size_t beforeLast = 0;  // frames of `batch` that it was given before those of the last message
    bool isReaped = false;
    bool isStale = false;  // it gets no more frames, and is ended when it has none: some of its own were taken back
    Clock::time_point lastSign;  // of life: the batch was sent, or a report came
};

WorkerPool::WorkerPool(PoolOptions options, CheckFunction check)
    : options_(options), check_(std::move(check)), headers_(options.headers ? *options.headers : ownHeaders_) {
    options_.jobs = std::max(options_.jobs, 1);
}

WorkerPool::~WorkerPool() {
    killAll();
}

WorkerPool::Number WorkerPool::add(FileCheck check) {
    return queue_.add(std::move(check));
}

std::optional<FileReport> WorkerPool::next() {
    if (queue_.isEmpty()) return std::nullopt;
    return waitUntil(Clock::time_point::max(), [this] { return queue_.takeFirst(); });
}

std::optional<FrameQueue::Numbered> WorkerPool::anyUntil(Clock::time_point end) {
    return waitUntil(end, [this] { return queue_.takeAny(); });
}

template <class Take>
auto WorkerPool::waitUntil(Clock::time_point end, Take take) -> decltype(take()) {
    const Clock::duration absence = Clock::now() - left_;
    if (absence > longestWait) shiftDeadlines(absence);
    decltype(take()) taken;
    while (!stopped_ && !taken) {
        giveOut();  // also before a report is given back: the workers go on while the caller is away
        taken = take();
        if (taken) break;
        if (Clock::now() >= end) break;
        waitForNews(end);
    }
    left_ = Clock::now();
    return taken;
}

// --- Giving frames out
// --------------------------------------------------------------------------------------------

// The frame that all others wait for always has.
bool WorkerPool::hasRoom() const {
    return !queue_.isFull() || queue_.isFirst(queue_.firstWaiting());
}

bool WorkerPool::isDecoded(Number number) const {
    return queue_.check(number).level == Level::pixels;
}

// Half of each worker's share of what is left: large while there is much, one by one at the end, so that all
// workers end at about the same time.
WorkerPool::Number WorkerPool::batchSize() const {
    if (isDecoded(queue_.firstWaiting())) return 1;
    return std::clamp(queue_.waiting() / (2 * Number{options_.jobs}), Number{1}, greatestBatch);
}

void WorkerPool::giveOut() {
    while (queue_.waiting() > 0 && hasRoom()) {
        Connection* const free = freeConnection();
        if (!free) return;
        give(*free);
        removeLost();
    }
}

void WorkerPool::give(Connection& connection) {
    connection.beforeLast = connection.batch.size();
    if (connection.isIdle()) connection.lastSign = Clock::now();
    std::vector<FileCheck> checks;
    for (Number left = std::min(batchSize(), queue_.waiting()); left > 0; --left) {
        connection.batch.push_back(queue_.takeWaiting());
        checks.push_back(queue_.check(connection.batch.back()));
    }
    appendMessage(connection.toSend, encodeChecks(checks));
    ++traffic_.batches;
    send(connection);
}

// --- Workers
// ------------------------------------------------------------------------------------------------------

// One that is idle, a new one, or one that has little left. Null when all are busy, or none could be had.
WorkerPool::Connection* WorkerPool::freeConnection() {
    for (const auto& connection : connections_)
        if (connection->isIdle() && !connection->isStale) return connection.get();
    Connection* started = nullptr;
    if (connections_.size() < static_cast<std::size_t>(options_.jobs)) started = startConnection();
    if (started || queue_.waiting() == 0 || isDecoded(queue_.firstWaiting())) return started;
    for (const auto& connection : connections_)
        if (takesMore(*connection)) return connection.get();
    return nullptr;
}

// Frames of one worker stay in their order, so that a report that all others wait for never lies behind those that
// wait for it.
bool WorkerPool::takesMore(const Connection& connection) const {
    const auto few = static_cast<std::size_t>(std::min(batchSize(), fewLeft));
    return connection.batch.size() < few && !connection.isStale && connection.toSend.isEmpty() &&
           connection.batch.back() < queue_.firstWaiting() && !isDecoded(connection.batch.back());
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
    queue_.finish(queue_.takeWaiting(), std::move(report), 0);
}

// The last frames of its batch wait again.
void WorkerPool::takeBackAllBut(Connection& connection, std::size_t kept) {
    for (; connection.batch.size() > kept; connection.batch.pop_back()) queue_.giveBack(connection.batch.back());
}

// Ends the connection. The frame that the worker was at gets its report, the others wait again.
void WorkerPool::lose(Connection& connection, const QByteArray& what) {
    close(connection.worker.socket);
    connection.worker.socket = -1;
    if (!connection.isReaped) {
        kill(connection.worker.process, SIGKILL);
        unreaped_.push_back(connection.worker.process);
    }
    if (connection.batch.empty()) return;
    FileReport report = limitReport(what);
    report.seconds = std::chrono::duration<double>(Clock::now() - connection.lastSign).count();
    queue_.finish(connection.batch.front(), std::move(report), 0);
    takeBackAllBut(connection, 1);
    connection.batch.clear();
}

void WorkerPool::removeLost() {
    const auto lost = [](const std::unique_ptr<Connection>& connection) { return connection->isLost(); };
    connections_.erase(std::remove_if(connections_.begin(), connections_.end(), lost), connections_.end());
}

// Why a worker that closed its connection is gone.
QByteArray WorkerPool::endOf(Connection& connection) {
    int status = 0;
    connection.isReaped = isWorkerGoneWithin(connection.worker.process, status, options_.endGrace);
    if (!connection.isReaped) return "the reader closed its connection";
    return "the reader " + workerEndText(status, options_.limits);
}

void WorkerPool::reap() {
    const auto gone = [](pid_t process) {
        int status = 0;
        return isWorkerGone(process, status);
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
    if (!queue_.isFull() || connection.isIdle()) return true;
    return queue_.isFirst(connection.batch.front()) || queue_.isFirst(queue_.firstWaiting());
}

bool WorkerPool::areAllBusy() const {
    const auto isBusy = [](const auto& connection) { return connection->batch.size() >= leftForANap; };
    return !connections_.empty() && std::all_of(connections_.begin(), connections_.end(), isBusy);
}

// Ends early when the run is to be stopped.
void WorkerPool::nap() const {
    pollfd stop = {options_.stopDescriptor, POLLIN, 0};
    poll(&stop, 1, lengthOfNap.count());
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
    if (areAllBusy()) nap();
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
    endSilent();
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
    if (connection.beforeLast > 0) {
        // Its last reports are on their way still, and its end behind them.
        takeBackAllBut(connection, connection.beforeLast);
        connection.toSend.clear();
        connection.isStale = true;
        return;
    }
    if (connection.hasReported) takeBackAllBut(connection, 0);
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
    if (connection.isStale && connection.isIdle()) return lose(connection, QByteArray());
    if (arrival != Arrival::incomplete) return lose(connection, "the reader sent what is no report");
    connection.received.remove(0, at);
}

bool WorkerPool::takeReport(Connection& connection, const QByteArray& content) {
    std::optional<FileReport> report = connection.decoder.decode(content);
    if (connection.decoder.wasSurplus()) spareFirst(connection);
    if (!report || connection.isIdle()) return false;
    ++traffic_.reports;
    connection.hasReported = true;
    connection.lastSign = Clock::now();
    const std::int64_t bytes = waitingBytesOf(*report, content.size());
    queue_.finish(connection.batch.front(), std::move(*report), bytes);
    connection.batch.pop_front();
    if (connection.beforeLast > 0) --connection.beforeLast;
    return true;
}

// The frame that a worker is at has nothing to do with a second report of one before it. But once only: it may be
// the frame that makes workers say so, each shortly before its time is up.
void WorkerPool::spareFirst(Connection& connection) {
    if (connection.isIdle() || !spared_.insert(connection.batch.front()).second) return;
    takeBackAllBut(connection, 0);
}

// What comes from a worker that is not read from at the moment counts as in time.
void WorkerPool::endSilent() {
    const auto now = Clock::now();
    const auto limit = std::chrono::seconds(options_.secondsPerFrame);
    for (const auto& connection : connections_) {
        if (connection->isLost() || connection->isIdle()) continue;
        if (!isRead(*connection)) connection->lastSign = now;
        const auto silence = now - connection->lastSign;
        if (silence >= limit) {
            const auto seconds = static_cast<std::size_t>(options_.secondsPerFrame);
            lose(*connection, "the time limit of " + countText(seconds, "second") + " was reached");
        } else if (silence >= options_.longSilence && connection->batch.size() > 1) {
            takeBackAllBut(*connection, 1);
            connection->isStale = true;
        }
    }
}

}  // namespace kxCheck
