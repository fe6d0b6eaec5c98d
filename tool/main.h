// SPDX-License-Identifier: BSD-3-Clause
// The operations of the command module beside the entry point.
//
// testExr and sendClientCheckJob print to standard output; only one of them runs at a time. The others may run in
// several threads at once.
#pragma once

#include <QString>
#include <QtGlobal>

// Checks one EXR file by its headers and completes the line that the caller began with the frame: sizes, storage,
// compression, channels and parts, with showChannel the channel names. A file that fails the required modes is
// deleted when `del` is set. A file that can't be read gives an error line and is never deleted. Only regular files
// may be passed: opening a pipe would wait for its writer.
void testExr(const QString& file, const bool& requireMultiLayer, const bool& requireMultipart,
             const bool& noMultipart, const bool& del, const bool& showChannel);

// Puts a "check job" message for the low byte of `job` into the local client's shared memory, see
// docs/client-shared-memory.md. Reports on standard output; returns two seconds after the message was placed.
void sendClientCheckJob(int& job);

// A message handler that discards every message.
void KXMessageOutput_none(QtMsgType type, const char* message);

#ifdef QT_NO_CAST_FROM_ASCII
// The string followed by the text read as Latin-1. (Qt has its own without that macro.) The second one is for
// temporaries: beside Qt 6.8's operator+(QString&&, const QString&) the first alone would be ambiguous.
QString operator+(const QString& text, const char* suffix);
QString operator+(QString&& text, const char* suffix);
#endif
