// SPDX-License-Identifier: BSD-3-Clause
// Fixed-capacity strings of the farm's records.
//
// A record that is copied and stored byte for byte cannot hold growing strings, so its texts have a fixed
// capacity and cut what does not fit. The stored length may come from a damaged file or from shared memory:
// every reader goes through length(), which never reports more than the capacity.
//
// Threads: a text is used by one thread at a time, or by several that only read it.
#pragma once

#include <QString>

#include <cstddef>
#include <cstring>
#include <type_traits>

// 8-bit text of at most N characters (Latin-1), always zero-terminated.
//
//   offset  size   name
//        0     2   stored length, 0 .. N
//        2   N+1   characters and the terminating zero
//                  (one zero byte more when N + 3 is odd)
template <int N>
class _kxString8_allSize {
    static_assert(N > 0 && N < 65536, "the length is stored in 16 bits");

public:
    _kxString8_allSize() : storedLength_(0), text_{} {}
    // A null pointer is the empty text; a longer text is cut to N characters.
    _kxString8_allSize(const char* text) : _kxString8_allSize() {
        if (text) assign(text, strnlen(text, N));
    }
    // Characters beyond Latin-1 become "?".
    _kxString8_allSize(const QString& text) : _kxString8_allSize() {
        const QByteArray bytes = text.left(N).toLatin1();
        assign(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    }

    // Characters in use, 0 .. N, whatever number is stored.
    int length() const { return storedLength_ < N ? storedLength_ : N; }
    bool isEmpty() const { return length() == 0; }
    // Zero-terminated as long as the text was written by this class.
    const char* data() const { return text_; }
    // Empties the text and zeroes its memory, so that a stored record holds nothing of the old text.
    void clear() {
        storedLength_ = 0;
        std::memset(text_, 0, sizeof text_);
    }
    QString toQString() const { return QString::fromLatin1(text_, length()); }

    // True when the stored length fits the capacity and the terminator stands behind it.
    bool isIntact() const { return storedLength_ <= N && text_[storedLength_] == '\0'; }

    bool operator==(const _kxString8_allSize& other) const {
        return length() == other.length() &&
               std::memcmp(text_, other.text_, static_cast<std::size_t>(length())) == 0;
    }
    bool operator!=(const _kxString8_allSize& other) const { return !(*this == other); }

    // The text followed by `suffix` (Latin-1, null is empty).
    QString operator+(const char* suffix) const { return toQString() + QString::fromLatin1(suffix); }

private:
    // `size` is at most N.
    void assign(const char* bytes, std::size_t size) {
        if (size > 0) std::memcpy(text_, bytes, size);
        storedLength_ = static_cast<unsigned short>(size);
    }

    unsigned short storedLength_;
    // An even number of bytes, so that the compiler adds no padding: its bytes would be stored unset.
    char text_[(N + 2) / 2 * 2];
};

// 16-bit text (UTF-16 code units) of at most N units.
//
//   offset      size   name
//        0         2   stored length, 0 .. N
//        2   2 (N+1)   units and the terminating zero
template <int N>
class _kxString {
    static_assert(N > 0 && N < 65536, "the length is stored in 16 bits");

public:
    _kxString() : storedLength_(0), text_{} {}
    // A longer text is cut to N units.
    _kxString(const QString& text) : _kxString() {
        const auto wanted = text.size() < N ? text.size() : N;
        if (wanted > 0) std::memcpy(text_, text.constData(), static_cast<std::size_t>(wanted) * sizeof(char16_t));
        storedLength_ = static_cast<unsigned short>(wanted);
    }

    // Units in use, 0 .. N, whatever number is stored.
    int length() const { return storedLength_ < N ? storedLength_ : N; }
    bool isEmpty() const { return length() == 0; }
    void clear() {
        storedLength_ = 0;
        std::memset(text_, 0, sizeof text_);
    }
    // Unit for unit; a leading byte-order mark is kept as a character.
    QString toQString() const { return QString(reinterpret_cast<const QChar*>(text_), length()); }

    // True when the stored length fits the capacity and the terminator stands behind it.
    bool isIntact() const { return storedLength_ <= N && text_[storedLength_] == u'\0'; }

private:
    unsigned short storedLength_;
    char16_t text_[N + 1];
};

static_assert(sizeof(_kxString8_allSize<50>) == 54 && alignof(_kxString8_allSize<50>) == 2, "stored record");
static_assert(sizeof(_kxString8_allSize<15>) == 18 && sizeof(_kxString8_allSize<14>) == 18, "stored record");
static_assert(sizeof(_kxString<250>) == 504 && alignof(_kxString<250>) == 2, "stored record");
static_assert(std::is_trivially_copyable<_kxString8_allSize<50>>::value, "copied byte for byte");
static_assert(std::is_trivially_copyable<_kxString<250>>::value, "copied byte for byte");
