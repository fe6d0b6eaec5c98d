// SPDX-License-Identifier: BSD-3-Clause
// Bounds what the reports of a sequence take in memory until they are written out.
//
// Of honest sequences nothing is ever cut: equal headers and lists of channels are there once, and few frames have
// many findings. Tens of thousands of files that were made to take memory find no more of it than this. Reports are
// taken in the order of their frames, so that what is cut does not depend on who read them. One thread at a time.
#pragma once

#include "check/kxFileReport.h"

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

namespace kxCheck {

class ReportRoom {
public:
    // In bytes. By default no sequence of 24999 files takes more than about 100 MiB in all.
    explicit ReportRoom(std::int64_t headers = std::int64_t{24} << 20U,
                        std::int64_t findings = std::int64_t{16} << 20U)
        : headerRoom_(headers), findingRoom_(findings) {}

    // Takes up room for a report that will be kept. Where its headers find none, they are left out, and the report
    // has the finding `limit`.
    void take(FileReport& report);
    // The same for findings alone. Where they find none, their lists of tiles are left out, then all but the first
    // of each code, which stay in any case; the last ones count the rest, each that of its code.
    void take(std::vector<Finding>& findings);
    // Findings that were taken are not kept any more.
    void giveBack(const std::vector<Finding>& findings);

private:
    [[nodiscard]] bool takeHeaders(const std::shared_ptr<const Headers>& headers);

    // What is left; less than nothing where findings stayed in any case.
    std::int64_t headerRoom_;
    std::int64_t findingRoom_;
    // What was counted. It stays until the end, so that no other has the same address.
    std::set<std::shared_ptr<const Headers>> headers_;
    std::set<kxExr::ChannelList::Shared> lists_;
};

}  // namespace kxCheck
