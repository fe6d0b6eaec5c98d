// SPDX-License-Identifier: BSD-3-Clause
// Streams of messages between a run and its workers.
#pragma once

#include "check/kxWorkerMessage.h"
#include "fuzz/FuzzInput.h"

#include <QByteArray>

#include <vector>

inline QByteArray restOf(const FuzzInput& input) {
    return {reinterpret_cast<const char*>(input.bytes()), static_cast<int>(input.size())};
}

// The messages of a stream, as far as they can be told apart.
inline std::vector<QByteArray> messagesOf(const QByteArray& stream) {
    std::vector<QByteArray> messages;
    QByteArray content;
    for (int at = 0; kxCheck::readMessage(stream, at, content) == kxCheck::Arrival::whole;)
        messages.push_back(content);
    return messages;
}
