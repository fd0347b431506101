// A program whose own classes, templates and functions have names that the library uses internally. Their signatures
// are those of the library, so a linker that confused them would not notice. Neither may be called by users of the
// other.

#include "Melnar.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include <unistd.h>

namespace {

void require(const bool condition, const char* const claim) {
    if (!condition) {
        std::cerr << "not so: " << claim << '\n';
        std::_Exit(EXIT_FAILURE);
    }
}

int s_numberOfCalls = 0;

} // namespace

// Defined only in this file, as strong symbols.
class Checksum {
public:
    Checksum();
    ~Checksum();
    void reset() noexcept;
    void update(const void* data, size_t numberOfBytes) noexcept;
    uint64_t getValue() const noexcept;
};

Checksum::Checksum() {
    ++s_numberOfCalls;
}
Checksum::~Checksum() {
    ++s_numberOfCalls;
}
void Checksum::reset() noexcept {
    ++s_numberOfCalls;
}
void Checksum::update(const void*, size_t) noexcept {
    ++s_numberOfCalls;
}
uint64_t Checksum::getValue() const noexcept {
    return static_cast<uint64_t>(++s_numberOfCalls);
}

namespace VirtualMemory {

void* reserve(size_t numberOfBytes) noexcept;

void* reserve(size_t) noexcept {
    ++s_numberOfCalls;
    return nullptr;
}

} // namespace VirtualMemory

// Inline, as weak symbols, any of which a linker may take.
class FileOutputStream {
public:
    explicit FileOutputStream(const std::string&) { ++s_numberOfCalls; }
    virtual ~FileOutputStream() { ++s_numberOfCalls; }
    virtual void write(const void*, size_t) { ++s_numberOfCalls; }
    virtual void flush() { ++s_numberOfCalls; }
};

class FileInputStream {
public:
    explicit FileInputStream(const std::string&) { ++s_numberOfCalls; }
    virtual ~FileInputStream() { ++s_numberOfCalls; }
    virtual size_t read(void*, size_t) { return static_cast<size_t>(++s_numberOfCalls); }
};

class FileDescriptor {
public:
    explicit FileDescriptor(int) noexcept { ++s_numberOfCalls; }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { ++s_numberOfCalls; }
    int get() const noexcept { return ++s_numberOfCalls; }
};

class AffixTable {
public:
    virtual ~AffixTable() { ++s_numberOfCalls; }
    void clear() noexcept { ++s_numberOfCalls; }
};

inline void spinPause() noexcept {
    ++s_numberOfCalls;
}

// A template with an instance that the library also has.
template<class T>
class TermDatatype {
public:
    TermDatatype() { ++s_numberOfCalls; }
    virtual ~TermDatatype() { ++s_numberOfCalls; }
    virtual void initialize(size_t) { ++s_numberOfCalls; }
    virtual bool isInUse() const noexcept { return ++s_numberOfCalls != 0; }
};

namespace {

void useOwnClasses() {
    {
        Checksum checksum;
        checksum.reset();
        checksum.update("", 0);
        require(checksum.getValue() == 4, "the checksum is this program's");
        std::string text;
        require(VirtualMemory::reserve(1) == nullptr, "the functions are this program's");
        FileOutputStream output("");
        output.write("", 0);
        output.flush();
        FileInputStream input("");
        input.read(&text, 0);
        const FileDescriptor file(-1);
        file.get();
        AffixTable affixes;
        affixes.clear();
        spinPause();
        TermDatatype<uint32_t> datatype;
        datatype.initialize(0);
        datatype.isInUse();
    }
    require(s_numberOfCalls == 23, "the objects are this program's");
}

void useLibrary() {
    const std::string fileName = "collisions-" + std::to_string(getpid()) + ".dict";
    constexpr size_t MEMORY_LIMIT = size_t{256} << 20;
    {
        Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT});
        DictionaryThread thread(dictionary);
        for (const std::string_view iri : {"http://example.org/a", "http://example.org/b", "http://example.org/c"})
            dictionary.resolveTerm(thread, {.m_kind = Term::Kind::IRI, .m_text = iri});
        dictionary.commit();
        dictionary.save(fileName);
    }
    const std::unique_ptr<Dictionary> opened = Dictionary::open(fileName, {.m_memoryLimit = MEMORY_LIMIT});
    std::remove(fileName.c_str());
    std::string form;
    require(opened->getTerm(3, form).m_text == "http://example.org/c", "the library reads what it has written");
    try {
        static_cast<void>(Dictionary::open("/nowhere/to/be/found"));
        require(false, "a missing file is an error");
    } catch (const SystemCallException& exception) {
        require(exception.getMessage().find("mine") == std::string::npos, "the library describes errors itself");
    }
}

} // namespace

int main() {
    useOwnClasses();
    const int numberOfCalls = s_numberOfCalls;
    useLibrary();
    require(s_numberOfCalls == numberOfCalls, "the library calls nothing of this program's");
    return EXIT_SUCCESS;
}
