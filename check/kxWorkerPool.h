// SPDX-License-Identifier: BSD-3-Clause
// Checks many frames at once in worker processes, and gives the reports back in the order of the frames, or as they
// come.
//
// Everything happens in next() and anyUntil(): one thread, one poll loop. A worker that dies, hangs, runs out of
// memory or sends what is no report costs the frame it was at, which gets a report of `limit` that says what
// happened; the rest of its batch goes to others and a new worker takes its place. One that reports a frame twice
// is ended too, but the frame it was at goes to others the first time. A worker that is silent for long keeps only
// the frame it is at. No worker is ever waited for: one that hangs in the kernel and can't be killed is left
// behind.
//
// Make it in a process with one thread, and use it from that thread only.
#pragma once

#include "check/kxFrameQueue.h"
#include "check/kxWorker.h"
#include "check/kxWorkerMessage.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace kxCheck {

struct PoolOptions {
    HeaderStore* headers = nullptr;  // makes those of several pools one, must live longer; null: the pool's own
    int jobs = 1;                    // workers at most, at least 1; no more are started than there is work for
    WorkerLimits limits;             // of each worker
    int secondsPerFrame =
        300;  // from a worker's last sign of life; time in which the caller is away does not count
    // Of a worker, after which others get the frames that it has not begun.
    std::chrono::milliseconds longSilence{1000};
    // For a worker that closed its connection to end by itself, so that it can be told how it ended.
    std::chrono::milliseconds endGrace{200};
    int stopDescriptor = -1;  // when this becomes readable, next() ends; not read from. -1: none
};

// What went back and forth so far.
struct PoolTraffic {
    std::int64_t batches = 0;  // messages to workers
    std::int64_t reports = 0;  // messages from workers
    std::int64_t workers = 0;  // processes started
};

class WorkerPool {
public:
    WorkerPool(PoolOptions options, CheckFunction check);
    // Kills the workers. They are reaped, but for those that the kernel does not let go.
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    using Number = FrameQueue::Number;

    // Adds a frame behind all others; also between calls of next(). The first one has number 0, each the next.
    Number add(FileCheck check);

    // The report of the first frame that was not given back yet; waits for it. Nothing when there is no such frame,
    // or when the run was stopped: then all workers are gone, and so it stays.
    [[nodiscard]] std::optional<FileReport> next();
    // The report of any frame that was not given back yet; nothing when there is none at `end`, or when the run was
    // stopped. For a caller that waits for other news too: waits also when there is no frame.
    [[nodiscard]] std::optional<FrameQueue::Numbered> anyUntil(std::chrono::steady_clock::time_point end);

    [[nodiscard]] bool stopped() const { return stopped_; }
    [[nodiscard]] const PoolTraffic& traffic() const { return traffic_; }

private:
    using Clock = std::chrono::steady_clock;
    struct Connection;

    // What `take` gives as soon as it gives something; nothing at `end`, or when the run was stopped.
    template <class Take>
    auto waitUntil(Clock::time_point end, Take take) -> decltype(take());

    // Which frames are given out.
    [[nodiscard]] bool hasRoom() const;
    [[nodiscard]] bool isDecoded(Number number) const;
    [[nodiscard]] Number batchSize() const;
    void giveOut();
    void give(Connection& connection);

    // Workers.
    Connection* freeConnection();
    [[nodiscard]] bool takesMore(const Connection& connection) const;
    Connection* startConnection();
    void failWithoutWorker(int error);
    void takeBackAllBut(Connection& connection, std::size_t kept);
    void lose(Connection& connection, const QByteArray& what);
    void removeLost();
    QByteArray endOf(Connection& connection);
    void reap();
    void killAll();

    // Waiting and what it brings.
    [[nodiscard]] bool isRead(const Connection& connection) const;
    [[nodiscard]] bool areAllBusy() const;
    void nap() const;
    [[nodiscard]] std::chrono::milliseconds timeToDeadline(Clock::time_point end) const;
    void waitForNews(Clock::time_point end);
    void shiftDeadlines(Clock::duration time);
    void send(Connection& connection);
    void receive(Connection& connection);
    void takeReports(Connection& connection);
    [[nodiscard]] bool takeReport(Connection& connection, const QByteArray& content);
    void spareFirst(Connection& connection);
    void endSilent();

    PoolOptions options_;
    CheckFunction check_;
    HeaderStore ownHeaders_;
    HeaderStore& headers_;
    FrameQueue queue_;
    std::vector<std::unique_ptr<Connection>> connections_;
    std::vector<pid_t> unreaped_;
    std::set<Number> spared_;                // frames that were taken from a worker without being charged
    Clock::time_point left_ = Clock::now();  // when next() ended
    bool startFailed_ = false;
    bool stopped_ = false;
    PoolTraffic traffic_;
};

}  // namespace kxCheck
