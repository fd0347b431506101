#include "tests/torture/FlipTorture.h"

#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/Unmovable.h"
#include "tests/torture/Findings.h"
#include "tests/torture/NumberedTerms.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace melnar;

namespace {

constexpr DictionaryOptions OPTIONS{.m_memoryLimit = size_t(4) << 30};
constexpr uint32_t BATCH_SIZE = 1024;
constexpr std::string_view DAMAGED = "damaged file: ";

struct Flip {
    uint64_t m_position;
    uint8_t m_mask; // of the bit
};

void require(const bool isTrue, const std::string& claim) {
    if (!isTrue)
        throw std::runtime_error("not true that " + claim);
}

void saveTerms(const uint32_t numberOfTerms, const std::string& fileName) {
    Dictionary dictionary(OPTIONS);
    {
        DictionaryThread thread(dictionary);
        NumberedBatch batch;
        std::vector<BatchFailure> failures;
        for (uint32_t begin = 0; begin < numberOfTerms; begin += BATCH_SIZE) {
            std::vector<uint32_t> numbers(std::min(BATCH_SIZE, numberOfTerms - begin));
            std::iota(numbers.begin(), numbers.end(), begin);
            batch.make(numbers);
            dictionary.resolveResources(thread, batch.getEntries(), failures);
        }
        require(failures.empty(), "no term is refused");
    }
    dictionary.commit();
    dictionary.save(fileName);
}

/// Returns what `open` throws, in words.
std::string describeRefusal(const std::function<void()>& open) {
    try {
        open();
    } catch (const MelnarException& exception) {
        const bool isRight = exception.getKind() == FailureKind::DAMAGED_FILE;
        return std::string(isRight ? DAMAGED : "another kind of failure: ") + exception.what();
    } catch (const std::exception& exception) {
        return std::string("another exception: ") + exception.what();
    }
    return "opened";
}

/// Bytes that the system maps into memory.
class Mapping : private Unmovable {
public:
    Mapping(const size_t size, const int protection, const int flags, const int fileDescriptor)
        : m_size(size), m_bytes(static_cast<char*>(::mmap(nullptr, size, protection, flags, fileDescriptor, 0))) {
        require(m_bytes != MAP_FAILED, "bytes can be mapped");
    }

    ~Mapping() { ::munmap(m_bytes, m_size); }

    [[nodiscard]] std::span<char> get() const noexcept { return {m_bytes, m_size}; }

private:
    const size_t m_size;
    char* const m_bytes;
};

/// The contents of a file. Its pages are not copied when the process forks.
class MappedFile : private Unmovable {
public:
    explicit MappedFile(const std::string& fileName)
        : m_fileDescriptor(::open(fileName.c_str(), O_RDONLY | O_CLOEXEC)),
          m_mapping(std::filesystem::file_size(fileName), PROT_READ, MAP_PRIVATE, m_fileDescriptor) {
        ::close(m_fileDescriptor);
    }

    [[nodiscard]] std::span<const char> get() const noexcept { return m_mapping.get(); }

private:
    const int m_fileDescriptor;
    const Mapping m_mapping;
};

/// A text that a child process leaves for its parent.
class Message : private Unmovable {
public:
    void set(const std::string& text) const noexcept {
        const std::span<char> bytes = m_mapping.get();
        bytes[text.copy(bytes.data(), bytes.size() - 1)] = '\0';
    }

    [[nodiscard]] std::string get() const { return m_mapping.get().data(); }

private:
    const Mapping m_mapping{4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1};
};

class FlipTorture : private Unmovable {
public:
    FlipTorture(const FlipTortureOptions& options, const std::string& folder, const uint32_t seed, std::ostream& output,
                const DictionaryReaders& readers)
        : m_options(options), m_seed(seed), m_fileName(folder + "/flipped.dict"), m_readers(readers),
          m_findings(output) {
        saveTerms(options.m_numberOfTerms, m_fileName);
        m_fileBytes = std::filesystem::file_size(m_fileName);
        std::mt19937_64 random(seed);
        std::uniform_int_distribution<uint64_t> bits(0, m_fileBytes * 8 - 1);
        for (size_t number = 0; number < options.m_numberOfFlips; ++number) {
            const uint64_t bit = bits(random);
            m_flips.push_back({bit / 8, static_cast<uint8_t>(1 << bit % 8)});
        }
        std::ranges::sort(m_flips, {}, &Flip::m_position);
    }

    ~FlipTorture() {
        std::error_code ignored;
        std::filesystem::remove(m_fileName, ignored);
    }

    bool run() {
        flipInMemory();
        for (const auto& [flip, refusal] : m_repeated)
            flipInFile(flip, refusal);
        require(m_numberOfFlips == m_options.m_numberOfFlips, "each bit was read");
        return m_findings.finish(m_numberOfFlips, "flipped bits of a file of " + withCommas(m_fileBytes) + " bytes",
                                 "all found",
                                 " (" + withCommas(m_repeated.size()) + " of them also in the file on the disk)");
    }

private:
    struct RepeatedFlip {
        Flip m_flip;
        std::string m_refusal; // with which its process ended
    };

    /// Delivers the sound file. Where a bit is to be flipped, a child process returns from `read` with that bit
    /// flipped.
    class ForkingStream final : public InputStream {
    public:
        ForkingStream(FlipTorture& torture, const std::span<const char> bytes)
            : m_torture(torture), m_bytes(bytes.data(), bytes.size()), m_nextFlip(torture.m_flips.begin()) {}

        const std::string& getName() const override { return m_torture.m_fileName; }

        size_t read(void* const data, const size_t numberOfBytes) override {
            const size_t delivered = m_bytes.copy(static_cast<char*>(data), numberOfBytes, m_position);
            for (;
                 !m_isChild && m_nextFlip != m_torture.m_flips.end() && m_nextFlip->m_position - m_position < delivered;
                 ++m_nextFlip) {
                m_isChild = m_torture.fork(*m_nextFlip);
                if (m_isChild)
                    static_cast<uint8_t*>(data)[m_nextFlip->m_position - m_position] ^= m_nextFlip->m_mask;
            }
            m_position += delivered;
            return delivered;
        }

        [[nodiscard]] bool isChild() const noexcept { return m_isChild; }

    private:
        FlipTorture& m_torture;
        const std::string_view m_bytes;
        std::vector<Flip>::const_iterator m_nextFlip;
        size_t m_position = 0;
        bool m_isChild = false;
    };

    /// Opens the sound file; each child process ends here.
    void flipInMemory() {
        const MappedFile file(m_fileName);
        ForkingStream stream(*this, file.get());
        const std::string refusal = describeRefusal([&] { m_readers.m_read(stream); });
        if (stream.isChild()) {
            m_message.set(refusal);
            ::_exit(0);
        }
        require(refusal == "opened", "the sound file can be opened: " + refusal);
    }

    /// Returns true in the child. The parent returns false when the child has ended, and judges it.
    bool fork(const Flip& flip) {
        m_message.set("nothing");
        const pid_t child = ::fork();
        if (child == 0)
            return true;
        int status = 0;
        if (child == -1 || ::waitpid(child, &status, 0) != child)
            throw std::runtime_error("no child process to be had");
        const std::string refusal =
            WIFEXITED(status) ? m_message.get() : "ended by signal " + std::to_string(WTERMSIG(status));
        expectDamage(flip, refusal);
        if (m_numberOfFlips++ % m_options.m_flipsPerFile == 0)
            m_repeated.push_back({flip, refusal});
        return false;
    }

    void flipInFile(const Flip& flip, const std::string& expectedRefusal) {
        flipBitOfFile(flip);
        const std::string refusal = describeRefusal([&] { m_readers.m_open(m_fileName); });
        flipBitOfFile(flip);
        expectDamage(flip, refusal);
        if (refusal != expectedRefusal)
            m_findings.add(describe(flip) + "in the file: " + refusal + ", but in memory: " + expectedRefusal);
    }

    void flipBitOfFile(const Flip& flip) const {
        std::fstream file(m_fileName, std::ios::binary | std::ios::in | std::ios::out);
        const auto position = static_cast<std::streamoff>(flip.m_position);
        const int byte = file.seekg(position).get();
        file.seekp(position).put(static_cast<char>(byte ^ flip.m_mask)).flush();
        require(file.good(), "the file can be changed");
    }

    void expectDamage(const Flip& flip, const std::string& refusal) {
        if (!refusal.starts_with(DAMAGED))
            m_findings.add(describe(flip) + refusal);
    }

    [[nodiscard]] std::string describe(const Flip& flip) const {
        return "MELNAR_SEED=" + std::to_string(m_seed) + " byte " + std::to_string(flip.m_position) + " changed by " +
               std::to_string(flip.m_mask) + ": ";
    }

    const FlipTortureOptions m_options;
    const uint32_t m_seed;
    const std::string m_fileName;
    const DictionaryReaders m_readers;
    Findings m_findings;
    const Message m_message;
    uint64_t m_fileBytes = 0;
    std::vector<Flip> m_flips; // by their positions
    std::vector<RepeatedFlip> m_repeated;
    size_t m_numberOfFlips = 0; // done
};

} // namespace

DictionaryReaders getDictionaryReaders() {
    return {[](InputStream& input) { return DictionaryFile::read(input, OPTIONS); },
            [](const std::string& fileName) { return Dictionary::open(fileName, OPTIONS); }};
}

bool tortureByFlips(const FlipTortureOptions& options, const std::string& folder, const uint32_t seed,
                    std::ostream& output, const DictionaryReaders& readers) {
    return FlipTorture(options, folder, seed, output, readers).run();
}
