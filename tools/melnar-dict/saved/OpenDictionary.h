#pragma once

#include "Engine/core/data-store/Dictionary.h"

#include <cstdint>
#include <memory>
#include <string>

/// Opens a saved dictionary to which nothing will be added, so no address space is reserved beyond its contents.
inline std::unique_ptr<Dictionary> openToRead(const std::string& fileName, const uint64_t memoryLimit) {
    return Dictionary::open(fileName, {.m_memoryLimit = memoryLimit, .m_canGrow = false});
}
