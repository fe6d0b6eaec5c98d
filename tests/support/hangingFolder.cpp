// SPDX-License-Identifier: BSD-3-Clause
// Mounts a folder that shows the files of another one, read only, until it is killed. One of them hangs, as on a
// share whose server went: the call named of it is never answered. The folder is listed with the kinds of its
// entries. Paths are printed when they are opened.
//
//   hangingFolder <folder shown> <mount point> <file that hangs> open|reopen|read
//   hangingFolder <folder shown> <mount point> <microseconds> delay
//
// reopen: the file was opened before. delay: none hangs, and every answer takes so long.
#define FUSE_USE_VERSION 31
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <fuse3/fuse.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string shown;
std::string hangingFile;
std::string hangingCall;
useconds_t delay = 0;

// Before each answer.
void beSlow() {
    if (delay > 0) usleep(delay);
}

void hangIf(const char* path, const char* call) {
    while (path == hangingFile && call == hangingCall) pause();
}

int resultOf(int result) {
    return result < 0 ? -errno : result;
}

int getattr(const char* path, struct stat* status, fuse_file_info* /*file*/) {
    beSlow();
    return resultOf(lstat((shown + path).c_str(), status));
}

int open(const char* path, fuse_file_info* file) {
    beSlow();
    static std::atomic<int> opened{0};
    std::puts(path);
    std::fflush(stdout);
    hangIf(path, "open");
    if (path == hangingFile && ++opened > 1) hangIf(path, "reopen");
    if ((file->flags & O_ACCMODE) != O_RDONLY) return -EROFS;
    const int descriptor = ::open((shown + path).c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0) file->fh = static_cast<std::uint64_t>(descriptor);
    return descriptor < 0 ? -errno : 0;
}

int read(const char* path, char* bytes, std::size_t size, off_t at, fuse_file_info* file) {
    beSlow();
    hangIf(path, "read");
    return resultOf(static_cast<int>(pread(static_cast<int>(file->fh), bytes, size, at)));
}

int release(const char* /*path*/, fuse_file_info* file) {
    beSlow();
    return resultOf(close(static_cast<int>(file->fh)));
}

int readdir(const char* path, void* list, fuse_fill_dir_t add, off_t /*at*/, fuse_file_info* /*file*/,
            fuse_readdir_flags /*flags*/) {
    beSlow();
    DIR* const directory = opendir((shown + path).c_str());
    if (!directory) return -errno;
    while (const dirent* const entry = ::readdir(directory)) {
        struct stat kind {};
        kind.st_mode = static_cast<mode_t>(DTTOIF(entry->d_type));
        add(list, entry->d_name, &kind, 0, static_cast<fuse_fill_dir_flags>(0));
    }
    closedir(directory);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    shown = argv[1];
    hangingFile = std::string("/") + argv[3];
    hangingCall = argv[4];
    if (hangingCall == "delay") delay = static_cast<useconds_t>(std::stoul(argv[3]));
    fuse_operations operations{};
    operations.getattr = getattr;
    operations.open = open;
    operations.read = read;
    operations.release = release;
    operations.readdir = readdir;
    char foreground[] = "-f";
    char options[] = "-oro,max_threads=32";
    char* arguments[] = {argv[0], foreground, options, argv[2], nullptr};
    return fuse_main(4, arguments, &operations, nullptr);
}
