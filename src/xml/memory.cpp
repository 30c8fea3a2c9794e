// SPDX-License-Identifier: MIT

#include "xml/memory.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <libxml/xmlmemory.h>

namespace keldo {

namespace {

void* required(void* memory) {
    if (memory == nullptr) {
        std::abort();
    }
    return memory;
}

extern "C" {

void* requiredMalloc(std::size_t size) {
    return required(std::malloc(size));
}

void* requiredRealloc(void* memory, std::size_t size) {
    return required(std::realloc(memory, size));
}

char* requiredStrdup(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    return static_cast<char*>(std::memcpy(requiredMalloc(size), text, size));
}

} // extern "C"

} // namespace

void abortOnXmlOutOfMemory() {
    xmlMemSetup(std::free, requiredMalloc, requiredRealloc, requiredStrdup);
}

} // namespace keldo
