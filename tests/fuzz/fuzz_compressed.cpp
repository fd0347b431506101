#include "tests/fuzz/PlainDecoders.h"
#include "tests/fuzz/Require.h"
#include "tests/fuzz/SoundPackedFiles.h"
#include "tests/tools/melnar-dict/input/TextSource.h"
#include "tools/melnar-dict/input/Bzip2Source.h"
#include "tools/melnar-dict/input/DecodingSource.h"
#include "tools/melnar-dict/input/GzipDecoder.h"
#include "tools/melnar-dict/input/XzDecoder.h"
#include "tools/melnar-dict/input/ZstdDecoder.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

// Any bytes as a compressed file, however they are cut, and by any number of threads: they are decompressed to the text
// that the library of the format finds, or refused if it refuses them. What is read before an error is the same, too.

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maximumSize); // NOLINT

namespace {

constexpr size_t LARGEST_TEXT = 300'000;          // of a file; the rest is not read
constexpr size_t LARGEST_REPEATED_TEXT = 250'000; // several blocks
constexpr size_t LARGEST_GROWTH = 64;

std::unique_ptr<ByteSource> open(const PackedFormat format, std::unique_ptr<ByteSource> packed,
                                 const size_t numberOfThreads) {
    const auto decode = [&](std::unique_ptr<Decoder> decoder) {
        return std::make_unique<DecodingSource>(std::move(packed), format, std::move(decoder));
    };
    switch (format) {
    case PackedFormat::GZIP:
        return decode(std::make_unique<GzipDecoder>());
    case PackedFormat::BZIP2:
        return std::make_unique<Bzip2Source>(std::move(packed), numberOfThreads);
    case PackedFormat::XZ:
        return decode(std::make_unique<XzDecoder>(numberOfThreads));
    default:
        return decode(std::make_unique<ZstdDecoder>());
    }
}

/// Decompresses a file like the tool; the hash of the bytes decides how it is cut.
PlainText decode(const PackedFormat format, const std::string& packed) {
    const size_t hash = std::hash<std::string>()(packed);
    const size_t bytesAtOnce = hash % 4 == 0 ? 1 + hash / 4 % 50 : packed.size();
    const size_t partSize = hash / 256 % 2 == 0 ? 1 + hash / 512 % 5000 : LARGEST_TEXT;
    PlainText result;
    try {
        const std::unique_ptr<ByteSource> source =
            open(format, std::make_unique<TextSource>(packed, bytesAtOnce), 1 + hash / 1024 % 3);
        std::string part(partSize, '\0');
        while (result.m_text.size() != LARGEST_TEXT) {
            const size_t size = source->read(part.data(), std::min(part.size(), LARGEST_TEXT - result.m_text.size()));
            result.m_text.append(part, 0, size);
            if (size == 0)
                break;
        }
        result.m_isSound = true;
    } catch (const ToolFailure& failure) {
        require(failure.getExitCode() == ExitCode::FAILURE && *failure.what() != '\0',
                "a file is refused with the reason");
    }
    return result;
}

void check(const PackedFormat format, const std::string& packed) {
    const PlainText plain = decodePlainly(format, packed, LARGEST_TEXT);
    const PlainText found = decode(format, packed);
    const size_t size = std::min(found.m_text.size(), plain.m_text.size());
    require(std::string_view(found.m_text).substr(0, size) == std::string_view(plain.m_text).substr(0, size),
            "a file has the text that the library finds, up to the first error");
    if (plain.m_text.size() == LARGEST_TEXT)
        return;
    require(found.m_isSound == plain.m_isSound, "a file is refused if the library refuses it");
    require(!found.m_isSound || found.m_text == plain.m_text, "a sound file has the text that the library finds");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { // NOLINT(readability-identifier-naming)
    for (const std::string& file : makeSoundPackedFiles()) {
        const std::optional<PackedFormat> format = packedFormatOfBeginning(file);
        require(format && decode(*format, file).m_isSound, "a sound file is decompressed");
    }
    return 0;
}

/// Often changes the text instead of the bytes, since a checksum hides what follows a wrong byte.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* const data, const size_t size, const size_t maximumSize, // NOLINT
                                          unsigned seed) {
    const auto chooseBelow = [&seed](const unsigned end) {
        const unsigned chosen = seed % end;
        seed /= end;
        return chosen;
    };
    const std::string packed(reinterpret_cast<const char*>(data), size);
    const std::optional<PackedFormat> format = packedFormatOfBeginning(packed);
    if (!format || chooseBelow(2) == 0)
        return LLVMFuzzerMutate(data, size, maximumSize);
    std::string text = decodePlainly(*format, packed, LARGEST_REPEATED_TEXT).m_text;
    const size_t textSize = text.size();
    text.resize(textSize + LARGEST_GROWTH);
    text.resize(LLVMFuzzerMutate(reinterpret_cast<uint8_t*>(text.data()), textSize, text.size()));
    if (chooseBelow(8) == 0)
        while (!text.empty() && text.size() < LARGEST_REPEATED_TEXT)
            text += std::string(text);
    std::string mutated = pack(*format, text);
    switch (chooseBelow(8)) {
    case 0:
        mutated = packed + mutated;
        break;
    case 1:
        mutated += packed;
        break;
    case 2: // after padding
        mutated = packed + '\0' + mutated;
        break;
    case 3:
        mutated += '\0' + text.substr(0, LARGEST_GROWTH);
        break;
    default:
        break;
    }
    if (mutated.size() > maximumSize)
        return LLVMFuzzerMutate(data, size, maximumSize);
    std::copy(mutated.begin(), mutated.end(), data);
    return mutated.size();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    const std::string packed(reinterpret_cast<const char*>(data), size);
    const std::optional<PackedFormat> format = packedFormatOfBeginning(packed);
    if (!format)
        return 0;
    check(*format, packed);
    if (*format == PackedFormat::GZIP)
        check(*format, repairGzip(packed, LARGEST_TEXT));
    return 0;
}
