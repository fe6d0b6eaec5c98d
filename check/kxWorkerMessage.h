// SPDX-License-Identifier: BSD-3-Clause
// What a run and its workers tell each other over a socket: frames to check one way, reports the other.
//
// A message is its length (32 bits) and that many bytes. Both ends are the same program, but a worker reads hostile
// files: the receiving side takes no length, count or enumerator on trust and rejects a message that has one wrong
// value, is too short or too long. Reports are numbered, so that one too many is not taken for that of the next
// frame. They name headers that their worker sent before by number, because most frames of a sequence have the
// same. Each thread may use its own objects.
#pragma once

#include "check/kxFileReport.h"
#include "check/kxValuesInUse.h"

#include <QByteArray>
#include <QHash>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace kxCheck {

// Bytes of a message without its length, at most.
constexpr std::uint32_t greatestMessage = 4U << 20U;
// Headers that each end remembers for one connection, and bytes of their encodings; later ones are sent each time.
constexpr int mostNumberedHeaders = 64;
constexpr std::int64_t mostNumberedBytes = 512 << 10;

// Appends a message with this content, at most greatestMessage bytes, to what is to be sent.
void appendMessage(QByteArray& stream, const QByteArray& content);

enum class Arrival { whole, incomplete, tooLong };
// Reads the message that begins at `at` of what was received. Whole: `content` is its content and `at` is behind
// it; otherwise both are as they were.
[[nodiscard]] Arrival readMessage(const QByteArray& stream, int& at, QByteArray& content);

QByteArray encodeChecks(const std::vector<FileCheck>& checks);
// Nothing when `content` is no list of checks.
[[nodiscard]] std::optional<std::vector<FileCheck>> decodeChecks(const QByteArray& content);

// How a report's headers are sent: `fresh` ones get the next number, `known` ones have one, `single` ones get none.
enum class HeadersForm { none, known, fresh, single };

struct SentHeaders {
    HeadersForm form = HeadersForm::none;
    int number = 0;       // of known ones
    QByteArray encoding;  // of fresh and single ones
};

// A worker's side: the reports of one connection, in the order in which they are sent.
class ReportEncoder {
public:
    // Never more than greatestMessage bytes: where that takes it, the tiles of the findings are left out, then the
    // preview; a report that is too large all the same (headers of millions of channels) goes without its headers
    // and with `limit`.
    QByteArray encode(const FileReport& report);

private:
    [[nodiscard]] SentHeaders formOf(const std::shared_ptr<const Headers>& headers) const;
    void remember(const std::shared_ptr<const Headers>& headers, const SentHeaders& sent);

    std::int64_t reports_ = 0;                              // that were encoded
    QHash<QByteArray, int> numbers_;                        // of headers that were sent, by their encoding
    std::int64_t numberedBytes_ = 0;                        // of these encodings
    std::vector<std::shared_ptr<const Headers>> numbered_;  // one of those with each number: found without encoding
};

// Makes equal headers one value as long as someone has it, and gives the same list of channels to those that differ
// in something else: windows that follow the picture are usual.
class HeaderStore {
public:
    // Null when `encoded` is no encoding of headers of at least one part.
    [[nodiscard]] std::shared_ptr<const Headers> get(const QByteArray& encoded);

private:
    void share(kxExr::ChannelList& channels);

    ValuesInUse<Headers> headers_;
    ValuesInUse<std::vector<kxExr::Channel>> lists_;
};

// The run's side of one connection. `store`, shared by all connections, must live longer.
class ReportDecoder {
public:
    explicit ReportDecoder(HeaderStore& store) : store_(store) {}

    // Nothing when `content` is no report, is not the next one, or is one of a header that was never sent.
    [[nodiscard]] std::optional<FileReport> decode(const QByteArray& content);
    // Whether the last `content` was a report, of a number that came before.
    [[nodiscard]] bool wasSurplus() const { return wasSurplus_; }

private:
    [[nodiscard]] bool takeHeaders(const SentHeaders& sent, FileReport& report);

    HeaderStore& store_;
    std::int64_t reports_ = 0;  // that were decoded
    bool wasSurplus_ = false;
    std::vector<std::shared_ptr<const Headers>> numbered_;
    std::int64_t numberedBytes_ = 0;
};

}  // namespace kxCheck
