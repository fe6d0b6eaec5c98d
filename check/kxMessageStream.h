// SPDX-License-Identifier: BSD-3-Clause
// Writes and reads the fields of a message: every value goes as a 64-bit number, a double or counted bytes.
//
// Both have the same operations, so that a template names the fields of a record once for both ways. The bounds are
// the reader's: what it is given is not trusted, and grows only with what is really there. Each thread may use its
// own objects.
#pragma once

#include <QByteArray>
#include <QDataStream>
#include <QIODevice>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

namespace kxCheck {

constexpr auto messageVersion = QDataStream::Qt_5_15;

class MessageWriter {
public:
    explicit MessageWriter(QByteArray& bytes) : stream_(&bytes, QIODevice::WriteOnly) {
        stream_.setVersion(messageVersion);
    }

    template <class T>
    void number(const T& value, std::int64_t /*least*/, std::int64_t /*most*/) {
        stream_ << static_cast<qint64>(value);
    }
    template <class T>
    void real(const T& value) {
        stream_ << static_cast<double>(value);
    }
    void bytes(const QByteArray& value, int /*most*/ = 0) { stream_ << value; }
    template <class T, class Pass>
    void pointer(const std::shared_ptr<const T>& value, Pass pass) {
        number(value != nullptr, 0, 1);
        if (value) pass(*this, *value);
    }
    template <class T, class Pass>
    void optional(const std::optional<T>& value, Pass pass) {
        number(value.has_value(), 0, 1);
        if (value) pass(*this, *value);
    }
    template <class T, class Pass>
    void list(const std::vector<T>& values, std::size_t most, Pass pass) {
        number(values.size(), 0, static_cast<std::int64_t>(most));
        for (const T& value : values) pass(*this, value);
    }

private:
    QDataStream stream_;
};

// After the first wrong value all others are left as they are.
class MessageReader {
public:
    explicit MessageReader(const QByteArray& bytes) : stream_(bytes) { stream_.setVersion(messageVersion); }

    // All was right, and nothing is left.
    [[nodiscard]] bool finished() const { return good() && stream_.atEnd(); }

    template <class T>
    void number(T& value, std::int64_t least, std::int64_t most) {
        qint64 read = 0;
        if (good()) stream_ >> read;
        if (read < least || read > most) stream_.setStatus(QDataStream::ReadCorruptData);
        if (good()) value = static_cast<T>(read);
    }
    template <class T>
    void real(T& value) {
        double read = 0;
        if (good()) stream_ >> read;
        if (good()) value = static_cast<T>(read);
    }
    void bytes(QByteArray& value, int most = std::numeric_limits<int>::max()) {
        if (good()) stream_ >> value;
        if (value.size() > most) stream_.setStatus(QDataStream::ReadCorruptData);
    }
    template <class T, class Pass>
    void pointer(std::shared_ptr<const T>& value, Pass pass) {
        bool there = false;
        number(there, 0, 1);
        if (!there || !good()) return;
        const auto read = std::make_shared<T>();
        pass(*this, *read);
        value = read;
    }
    template <class T, class Pass>
    void optional(std::optional<T>& value, Pass pass) {
        bool there = false;
        number(there, 0, 1);
        if (there && good()) pass(*this, value.emplace());
    }
    // Grows with what is really there, whatever the count says.
    template <class T, class Pass>
    void list(std::vector<T>& values, std::size_t most, Pass pass) {
        std::size_t count = 0;
        number(count, 0, static_cast<std::int64_t>(most));
        for (std::size_t i = 0; i < count && good(); ++i) pass(*this, values.emplace_back());
    }

private:
    [[nodiscard]] bool good() const { return stream_.status() == QDataStream::Ok; }

    QDataStream stream_;
};

}  // namespace kxCheck
