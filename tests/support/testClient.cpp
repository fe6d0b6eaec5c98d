// SPDX-License-Identifier: BSD-3-Clause
// Stands in for the local render client: owns the shared-memory segment "kxClientSharedMemory" and does what the
// lines of its standard input say. Every command ends its answer with a line "ok" or "error <why>".
//
//   create <size>  makes the segment: zeros, with the format fields of a ready client
//   attach         joins the segment of another test client
//   load <file>    copies the file over the start of the segment; does not lock
//   save <file>    writes the whole segment to the file; does not lock
//   lock, unlock
//   drain          takes messages out and prints one line for each, until the next line of input
//
// The segment goes when the program ends, at the end of its input.
#include <QSharedMemory>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>

#include <poll.h>
#include <unistd.h>

namespace {

QSharedMemory& segment() {
    static QSharedMemory memory(QString::fromLatin1("kxClientSharedMemory"));
    return memory;
}

unsigned char* bytes() {
    return static_cast<unsigned char*>(segment().data());
}

// Reads byte by byte, so that inputWaits() misses nothing. False at the end of the input.
bool readLine(std::string& line) {
    line.clear();
    char c = 0;
    while (read(STDIN_FILENO, &c, 1) == 1) {
        if (c == '\n') return true;
        line += c;
    }
    return false;
}

bool inputWaits() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) > 0;
}

bool create(int size) {
    if (!segment().create(size)) return false;
    std::memset(bytes(), 0, static_cast<std::size_t>(size));
    if (size < 932) return true;
    const unsigned char formatId[] = {0x05, 0x02, 0x00, 0x00};
    const unsigned char versionAndReadyMarker[] = {0x05, 0x0c, 0x01, 0x00};
    std::memcpy(bytes(), formatId, sizeof formatId);
    std::memcpy(bytes() + 928, versionAndReadyMarker, sizeof versionAndReadyMarker);
    return true;
}

bool load(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (content.size() > static_cast<std::size_t>(segment().size())) return false;
    std::memcpy(bytes(), content.data(), content.size());
    return true;
}

bool save(const std::string& path) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(static_cast<const char*>(segment().constData()), segment().size());
    file.close();
    return file.good();
}

// Prints the message of slot s and spoils its bytes, so that a slot that is counted but not written shows.
void takeMessage(int s) {
    unsigned char* const b = bytes();
    unsigned long long parameter = 0;
    for (int i = 7; i >= 0; --i) parameter = parameter << 8 | b[2124 + 8 * s + i];
    std::printf("A=%d B=%d command=%d parameter=%llu job=%d C=%d\n", b[2002 + s], b[2032 + s],
                b[2062 + 2 * s] | b[2062 + 2 * s + 1] << 8, parameter, b[7435 + s], b[7465 + s]);
    b[2002 + s] = b[2032 + s] = b[7435 + s] = b[7465 + s] = 0xee;
    std::memset(&b[2062 + 2 * s], 0xee, 2);
    std::memset(&b[2124 + 8 * s], 0xee, 8);
}

bool takeMessages() {
    if (!segment().lock()) return false;
    const int count = std::min<int>(bytes()[2001], 30);
    for (int s = 0; s < count; ++s) takeMessage(s);
    bytes()[2001] = 0;
    std::fflush(stdout);
    return segment().unlock();
}

bool drain() {
    bool good = true;
    while (good && !inputWaits()) {
        good = takeMessages();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::string ignored;
    readLine(ignored);
    return good && takeMessages();
}

bool execute(const std::string& line) {
    std::istringstream words(line);
    std::string command;
    std::string argument;
    words >> command >> argument;
    if (command == "create") return create(static_cast<int>(std::strtol(argument.c_str(), nullptr, 10)));
    if (command == "attach") return segment().attach();
    if (!segment().isAttached()) return false;
    if (command == "load") return load(argument);
    if (command == "save") return save(argument);
    if (command == "lock") return segment().lock();
    if (command == "unlock") return segment().unlock();
    return command == "drain" && drain();
}

}  // namespace

int main() {
    std::string line;
    while (readLine(line)) {
        if (execute(line)) {
            std::puts("ok");
        } else {
            std::printf("error %s\n", segment().errorString().toLatin1().constData());
        }
        std::fflush(stdout);
    }
    return 0;
}
