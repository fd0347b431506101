#include "tools/melnar-dict/load/LoadWork.h"

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <algorithm>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict/load/LoadWork";
constexpr long LINE_TOO_LONG = 39;
constexpr long LINE_OTHER_VERSION = 52;

// Version 1 had no checksums and no number: it began with the length of the task, which is larger.
constexpr uint64_t VERSION = 2;

void write(const SpillPrefix& prefix, OutputStream& output) {
    output.writeUInt64(prefix.m_numberOfBytes);
    output.writeUInt64(prefix.m_checksum);
}

SpillPrefix readPrefix(InputStream& input) {
    SpillPrefix prefix;
    prefix.m_numberOfBytes = input.readUInt64();
    prefix.m_checksum = input.readUInt64();
    return prefix;
}

} // namespace

std::string LoadWork::toBytes() const {
    MemoryOutputStream output;
    output.writeUInt64(VERSION);
    output.writeString(m_task);
    output.writeString(m_folderState);
    output.writeUInt64(m_fileIndex);
    output.writeUInt64(m_blockIndex);
    output.writeUInt32(m_isFull ? 1 : 0);
    write(m_rows, output);
    for (const Shard& shard : m_shards) {
        write(shard.m_terms, output);
        write(shard.m_ids, output);
        output.writeUInt32(shard.m_isResolved ? 1 : 0);
    }
    output.writeUInt64(m_numberOfRows);
    output.writeUInt64(m_rowFiles.size());
    for (const SpillPrefix& file : m_rowFiles)
        write(file, output);
    return output.getBytes();
}

LoadWork LoadWork::parse(const std::string& bytes) {
    MemoryInputStream input(bytes);
    if (input.readUInt64() != VERSION)
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_OTHER_VERSION, MelnarException::NO_CAUSES,
                              "The unfinished load was saved by another version of this program.");
    LoadWork work;
    for (std::string* const text : {&work.m_task, &work.m_folderState}) {
        text->resize(std::min<uint64_t>(input.readUInt64(), bytes.size())); // a longer one ends too early
        input.readExactly(text->data(), text->size());
    }
    work.m_fileIndex = input.readUInt64();
    work.m_blockIndex = input.readUInt64();
    work.m_isFull = input.readUInt32() != 0;
    work.m_rows = readPrefix(input);
    for (Shard& shard : work.m_shards) {
        shard.m_terms = readPrefix(input);
        shard.m_ids = readPrefix(input);
        shard.m_isResolved = input.readUInt32() != 0;
    }
    work.m_numberOfRows = input.readUInt64();
    for (uint64_t number = input.readUInt64(); number != 0; --number) // a wrong one ends too early
        work.m_rowFiles.push_back(readPrefix(input));
    if (char rest; input.read(&rest, 1) != 0)
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_TOO_LONG, MelnarException::NO_CAUSES,
                              "Bytes follow the end of a load's work.");
    return work;
}
