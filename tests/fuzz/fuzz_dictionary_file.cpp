#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/system/VirtualMemory.h"
#include "tests/Engine/core/data-store/DictionaryUse.h"
#include "tests/fuzz/Require.h"
#include "tests/fuzz/SectionMutation.h"
#include "tests/fuzz/SoundFiles.h"

#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

// Any bytes as a dictionary file, as they are and with correct lengths and checksums. They are refused as damaged, or
// for lack of memory or address space, or can be used without harm. If verify accepts the dictionary, each of its terms
// is found and parsed, and it can be saved and read again.

namespace {

constexpr size_t MEMORY_LIMIT = size_t(4) << 20;
constexpr size_t NEW_LITERALS = 20;

/// In bytes. This much must be left after a file was refused, so the file has asked for more.
constexpr size_t MUCH_ADDRESS_SPACE = size_t(1) << 40;

using Resource = std::tuple<uint64_t, uint8_t, std::string>;

/// Returns null if the file is refused.
std::unique_ptr<Dictionary> open(const std::string& bytes) {
    try {
        return readFromMemory(bytes, MEMORY_LIMIT);
    } catch (const SystemCallException& exception) {
        // A dictionary for very many resources may need more address space than AddressSanitizer leaves.
        require(exception.getSystemCallName() == std::string_view("mmap") && exception.getErrorCode() == ENOMEM,
                "a file is refused for lack of address space, if a system call fails");
        void* const space = melnar::VirtualMemory::reserve(MUCH_ADDRESS_SPACE);
        require(space != nullptr, "a file is refused only if it asks for much address space, and none is lost");
        melnar::VirtualMemory::release(space, MUCH_ADDRESS_SPACE);
        return nullptr;
    } catch (const MelnarException& exception) {
        const FailureKind kind = exception.getKind();
        require(kind == FailureKind::DAMAGED_FILE || kind == FailureKind::MEMORY,
                "a file is refused as damaged, or for lack of memory");
        return nullptr;
    }
}

bool isVerified(const Dictionary& dictionary) {
    try {
        dictionary.verify();
        return true;
    } catch (const MelnarException& exception) {
        require(exception.getKind() == FailureKind::DAMAGED_FILE, "verify finds damage");
        return false;
    }
}

std::vector<Resource> getResources(const Dictionary& dictionary) {
    std::vector<Resource> resources;
    for (const auto& [resourceID, value] : dictionary)
        resources.emplace_back(resourceID, value.m_datatypeID, DictionaryModel::getForm(value));
    return resources;
}

void checkResources(const Dictionary& dictionary, const std::vector<Resource>& resources) {
    require(resources.size() == dictionary.size(), "the iterator finds all resources");
    std::string joined;
    for (const auto& [resourceID, datatypeID, form] : resources) {
        require(dictionary.getResource(resourceID, joined) == datatypeID && joined == form, "the iterator reads forms");
        require(dictionary.tryResolveResource(DictionaryCommitPoint::ALL, form, datatypeID) == resourceID,
                "a form is found under its ID");
        require(dictionary.tryResolveTerm(DictionaryCommitPoint::ALL, dictionary.getTerm(resourceID, joined)) ==
                    resourceID,
                "a term is found under its ID");
    }
}

/// A dictionary as it was before a save, and the bytes of that.
class Saved {
public:
    explicit Saved(const Dictionary& dictionary)
        : m_bytes(writeToMemory(dictionary)), m_resources(getResources(dictionary)),
          m_nextResourceID(dictionary.getNextResourceID()),
          m_committedResourceID(dictionary.getCommitPoint().m_resourceID) {
        checkResources(dictionary, m_resources);
    }

    void checkOpening() const {
        const std::unique_ptr<Dictionary> again = open(m_bytes);
        require(again != nullptr, "what was read can be saved");
        require(getResources(*again) == m_resources && again->getNextResourceID() == m_nextResourceID &&
                    again->getCommitPoint().m_resourceID == m_committedResourceID,
                "what was saved is read again");
        require(writeToMemory(*again) == m_bytes, "the same dictionary gives the same bytes");
    }

private:
    const std::string m_bytes;
    const std::vector<Resource> m_resources;
    const uint64_t m_nextResourceID;
    const uint64_t m_committedResourceID;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { // NOLINT(readability-identifier-naming)
    for (const std::string& file : makeSoundDictionaryFiles())
        require(ForgedDictionaryFile::repair(file).getBytes() == file && open(file) != nullptr,
                "a sound file is left alone, and accepted");
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* const data, const size_t size, const size_t maximumSize, // NOLINT
                                          const unsigned seed) {
    static const std::vector<std::string> soundFiles = makeSoundDictionaryFiles();
    return mutateSections(data, size, maximumSize, seed, melnar::SectionFormat::DICTIONARY, soundFiles);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string repaired = ForgedDictionaryFile::repair(bytes).getBytes();
    if (bytes != repaired)
        require(open(bytes) == nullptr, "a file with a wrong length or checksum is refused");
    std::unique_ptr<Dictionary> dictionary = open(repaired);
    if (dictionary == nullptr)
        return 0;
    std::optional<Saved> saved;
    if (isVerified(*dictionary))
        saved.emplace(*dictionary);
    DictionaryUse::useAll(*dictionary, NEW_LITERALS);
    // A dictionary for very many resources reserves so much address space that there is not enough for two.
    dictionary = nullptr;
    if (saved)
        saved->checkOpening();
    return 0;
}
