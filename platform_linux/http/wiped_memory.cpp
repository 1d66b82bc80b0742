#include "platform_linux/http/wiped_memory.h"

#include <curl/curl.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "platform_linux/host_state.h"

namespace quor_platform::internal {
namespace {

// The blocks are the C library's own, so that a program that frees one of libcurl's with free does no harm.
std::atomic<bool> used{false};

void* Allocate(std::size_t size) {
    used.store(true, std::memory_order_relaxed);
    return std::malloc(size);
}

void* AllocateZeroed(std::size_t count, std::size_t size) {
    used.store(true, std::memory_order_relaxed);
    return std::calloc(count, size);
}

void WipeAndFree(void* block) {
    if (block != nullptr) {
        OPENSSL_cleanse(block, malloc_usable_size(block));
        std::free(block);
    }
}

// realloc would leave the old content behind when the block moves.
void* Resize(void* block, std::size_t size) {
    if (block == nullptr) {
        return Allocate(size);
    }
    void* const moved = std::malloc(size);
    if (moved != nullptr) {
        std::memcpy(moved, block, std::min(size, malloc_usable_size(block)));
        WipeAndFree(block);
    }
    return moved;
}

char* Duplicate(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    void* const copy = Allocate(size);
    return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

bool Prepare() {
    if (curl_global_init_mem(CURL_GLOBAL_DEFAULT, Allocate, WipeAndFree, Resize, Duplicate, AllocateZeroed) !=
        CURLE_OK) {
        return false;
    }
    used.store(false, std::memory_order_relaxed);
    curl_free(curl_easy_escape(nullptr, "probe", 0));
    if (!used.load(std::memory_order_relaxed)) {
        LogHost(QUOR_OM_LOG_LEVEL_WARNING,
                "libcurl was prepared by the program: what it frees of HTTPS requests is not wiped");
    }
    return true;
}

}  // namespace

bool PrepareCurl() {
    static const bool ready = Prepare();
    return ready;
}

}  // namespace quor_platform::internal
