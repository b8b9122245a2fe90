#include "duktape/MemoryLimit.h"

#include <malloc.h>

#include <cstdlib>

namespace Kelvra::SCADA::Codec {

bool MemoryLimit::refuses(std::size_t before, std::size_t after) {
    const bool over = after > limit || used - before > limit - after;
    refused = refused || over;
    return over;
}

void* MemoryLimit::allocate(std::size_t size) {
    if (size == 0 || refuses(0, size))
        return nullptr;
    void* block = std::malloc(size);
    used += malloc_usable_size(block);
    return block;
}

void* MemoryLimit::reallocate(void* block, std::size_t size) {
    if (size == 0) {
        release(block);
        return nullptr;
    }
    const std::size_t before = malloc_usable_size(block);
    if (size > before && refuses(before, size))
        return nullptr;
    void* moved = std::realloc(block, size);
    if (moved != nullptr)
        used += malloc_usable_size(moved) - before;
    return moved;
}

void MemoryLimit::release(void* block) {
    used -= malloc_usable_size(block);
    std::free(block);
}

bool MemoryLimit::takeRefused() {
    const bool was = refused;
    refused = false;
    return was;
}

} // namespace Kelvra::SCADA::Codec
