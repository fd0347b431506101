#pragma once

#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maximumSize); // NOLINT

/// Mutates a file of sections for libFuzzer; returns the new size. Usually changes one section and repairs the file,
/// since a wrong length, or a change of the largest section, would hide what the others hold. Sometimes starts from a
/// sound file, since most files of the corpus have so many faults that no other one is reached.
inline size_t mutateSections(uint8_t* const data, const size_t size, const size_t maximumSize, unsigned seed,
                             const melnar::SectionFormat& format, const std::vector<std::string>& soundFiles) {
    constexpr unsigned SHARE_OF_ANYWHERE = 8;
    constexpr unsigned SHARE_OF_SOUND_FILES = 3;
    constexpr size_t LARGEST_GROWTH = 64;
    const auto chooseBelow = [&seed](const size_t end) {
        const size_t chosen = seed % end;
        seed /= static_cast<unsigned>(end);
        return chosen;
    };
    if (chooseBelow(SHARE_OF_ANYWHERE) == 0)
        return LLVMFuzzerMutate(data, size, maximumSize);
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (chooseBelow(SHARE_OF_SOUND_FILES) == 0)
        bytes = soundFiles[chooseBelow(soundFiles.size())];
    auto file = ForgedDictionaryFile::repair(bytes, format);
    if (!file.m_sections.empty()) {
        std::string& section = file.m_sections[chooseBelow(file.m_sections.size())];
        const size_t sectionSize = section.size();
        section.resize(sectionSize + LARGEST_GROWTH);
        section.resize(LLVMFuzzerMutate(reinterpret_cast<uint8_t*>(section.data()), sectionSize, section.size()));
        const std::string mutated = file.getBytes();
        if (mutated.size() <= maximumSize) {
            std::copy(mutated.begin(), mutated.end(), data);
            return mutated.size();
        }
    }
    return LLVMFuzzerMutate(data, size, maximumSize);
}
