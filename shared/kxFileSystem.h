// SPDX-License-Identifier: BSD-3-Clause
// File-system and directory services.
//
// Paths and names are bytes: every byte of a name on disk is one Latin-1 character of the QString and goes back
// to the system the same way, so names in any encoding survive unchanged. No function here throws or prints.
//
// Threads: the functions may run in several threads at once; a kxDirListing is used by one thread at a time.
#pragma once

#include "shared/kxTime.h"

#include <QString>

#include <memory>

// The path delimiter.
extern const QString PDs;

// Lists the files of one directory: regular files and symbolic links to regular files, not recursively, in the
// order of the file system, names with a leading dot included.
//
//   kxDirListing listing;
//   listing.init(QStringLiteral("/renders/shot/*"), false, true, false, false);
//   while (listing.nextFile()) use(listing.fileName());
//
// The system is asked about an entry only when fileSize() or fileTime() is called, or when the directory does not
// tell the entry's kind (links, some file systems): most entries of a large directory are nobody's frames.
class kxDirListing {
public:
    kxDirListing();
    ~kxDirListing();
    kxDirListing(const kxDirListing&) = delete;
    kxDirListing& operator=(const kxDirListing&) = delete;

    // From now on only names that begin with `prefix` and end with `suffix` without overlap, case ignored, are
    // listed; every other entry is passed over before anything else is done with it. Two empty texts let all pass.
    // It is the fast form, on the bytes of a name, of the rule which files belong to a sequence
    // (kxcjFileNameIsRight in image/, on texts); a test ties the two.
    void setNameFilter(const QString& prefix, const QString& suffix);

    // Starts a listing of the directory `pattern` without its last character, which is "*". A directory that can't
    // be opened yields no entries. The flags are kept for the callers' sake; files of the one directory are listed
    // whatever they say.
    void init(QString pattern, const bool& recursive, const bool& files, const bool& directories,
              const bool& hiddenOnly);

    // Advances to the next entry (the first call yields the first); false when there is none left.
    bool nextFile();

    // The current entry's name without directory, as on disk; empty before the first and after the last entry.
    QString fileName() const;
    // Size in bytes of the current entry (of a link's target); -1 when the file is gone.
    long long fileSize();
    // Modification time of the current entry (of a link's target); 0 when the file is gone.
    _kxTime fileTime();

    // The name of the facility that lists, for logs.
    QString OSSearchFunctionName() const;

private:
    struct Entries;
    std::unique_ptr<Entries> entries_;
};

// True when `path` is a regular file or a symbolic link to one; then *time and *size (bytes) hold what
// kxDirListing reports for it. Otherwise they are left as they were. Either pointer may be null.
bool kxFileExists(QString path, _kxTime* time, long long* size);

// True when `path` is a directory that can be listed.
bool kxDirectoryExists(QString path);

// Deletes one regular file or symbolic link, never a link's target, a directory or a device. Empty on success,
// otherwise the system's reason in English without the path ("Permission denied", "Is a directory").
[[nodiscard]] QString kxDeleteFile(const QString& path);

// Everything up to and including the last separator; empty when there is none.
QString kxGetDirName(QString path, unsigned short separator);
// Everything after the last separator; the whole path when there is none.
QString kxGetFileName(QString path, unsigned short separator);

// The path with every delimiter, "\" of the farm's other systems included, as "/".
QString kxConvertPDToOS(const QString& path);

// The text re-encoded for the log file: each character of the result is one byte of the text's UTF-8.
QString kxToKXUTF8(QString text, bool reserved);

// Splits the text in `first` before the last `separator`: "diffuse.R" becomes "diffuse" and ".R". Where there is
// none `first` keeps the text and `second` becomes empty. The last two arguments are reserved, null.
void splitAtLastOccurence(QString& first, QString& second, const QString& separator, const QString& reserved1,
                          const QString& reserved2);
