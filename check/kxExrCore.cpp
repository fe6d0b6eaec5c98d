// SPDX-License-Identifier: BSD-3-Clause
#include "check/private/kxExrCore.h"

#include <algorithm>
#include <cstdlib>

namespace kxCheck {

namespace {

thread_local bool isMemoryLacking = false;

void* allocate(std::size_t size) {
    void* memory = std::malloc(size);
    isMemoryLacking = isMemoryLacking || !memory;
    return memory;
}

void beSilent(exr_const_context_t, exr_result_t, const char*) {}

Finding refusal(exr_result_t result) {
    if (isMemoryLacking) return makeFinding(Code::limit, "there is not enough memory");
    return makeFinding(Code::header, QByteArray("the header is damaged: ") + exr_get_default_error_message(result));
}

}  // namespace

bool canDecode(kxExr::Compression compression) {
    return static_cast<int>(compression) < static_cast<int>(EXR_COMPRESSION_LAST_TYPE);
}

ExrCore::~ExrCore() {
    if (context_) exr_finish(&context_);
}

bool ExrCore::lackedMemory() {
    return isMemoryLacking;
}

std::optional<Finding> ExrCore::open() {
    isMemoryLacking = false;
    exr_context_initializer_t setup{};
    setup.size = sizeof setup;  // tells the library which version of the structure this is
    setup.error_handler_fn = &beSilent;
    setup.alloc_fn = &allocate;
    setup.free_fn = &std::free;
    setup.user_data = this;
    setup.read_fn = &ExrCore::readFor;
    setup.size_fn = &ExrCore::sizeFor;
    setup.zip_level = -2;  // the library's own
    setup.dwa_quality = -1;
    setup.flags = EXR_CONTEXT_FLAG_STRICT_HEADER | EXR_CONTEXT_FLAG_SILENT_HEADER_PARSE |
                  EXR_CONTEXT_FLAG_DISABLE_CHUNK_RECONSTRUCTION;
    const exr_result_t result = exr_start_read(&context_, "frame", &setup);
    if (result != EXR_ERR_SUCCESS) return refusal(result);
    isOpen_ = true;
    if (!agrees()) return makeFinding(Code::header, "the header is damaged: it can be read in two ways");
    return std::nullopt;
}

// Gives what there is up to the end: the library reads headers in pieces that may reach beyond it. Before the file
// is open that is the end of the headers: some versions let an attribute go on behind them, and would judge by what
// they find there.
std::int64_t ExrCore::readFor(exr_const_context_t, void* self, void* to, std::uint64_t count, std::uint64_t offset,
                              exr_stream_error_func_ptr_t) {
    auto* core = static_cast<ExrCore*>(self);
    const std::uint64_t size = core->isOpen_ ? core->bytes_.size() : core->reading_.end;
    count = std::min(count, size - std::min(size, offset));
    // Nothing rather than -1: older versions of the library fill up what is missing, and begin a byte too early
    // then. That reading failed, `bytes_` remembers.
    if (!core->bytes_.read(offset, count, to)) return 0;
    core->applyPatches(offset, count, static_cast<char*>(to));
    return static_cast<std::int64_t>(count);
}

std::int64_t ExrCore::sizeFor(exr_const_context_t, void* self) {
    return static_cast<std::int64_t>(static_cast<ExrCore*>(self)->bytes_.size());
}

void ExrCore::applyPatches(std::uint64_t offset, std::uint64_t count, char* bytes) const {
    if (offset >= reading_.end) return;
    for (const HeaderPatch& patch : reading_.patches)
        for (int i = 0; i < patch.bytes.size(); ++i) {
            const std::uint64_t at = patch.offset + static_cast<std::uint64_t>(i);
            if (at >= offset && at < offset + count) bytes[at - offset] = patch.bytes[i];
        }
}

// What the library will decode by is what was read here.
bool ExrCore::agrees() const {
    int parts = 0;
    exr_get_count(context_, &parts);
    if (static_cast<std::size_t>(parts) != reading_.parts.size()) return false;
    for (int i = 0; i < parts; ++i) {
        const kxExr::Part& part = reading_.parts[static_cast<std::size_t>(i)];
        exr_storage_t storage = EXR_STORAGE_LAST_TYPE;
        exr_attr_box2i_t window{};
        const exr_attr_chlist_t* channels = nullptr;
        exr_get_storage(context_, i, &storage);
        exr_get_data_window(context_, i, &window);
        exr_get_channels(context_, i, &channels);
        if (static_cast<int>(storage) != static_cast<int>(part.storage) || !channels ||
            static_cast<std::size_t>(channels->num_channels) != part.channels.size() ||
            kxExr::Window{window.min.x, window.min.y, window.max.x, window.max.y} != part.dataWindow)
            return false;
    }
    return true;
}

}  // namespace kxCheck
