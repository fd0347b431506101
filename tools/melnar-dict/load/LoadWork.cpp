#include "tools/melnar-dict/load/LoadWork.h"

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <algorithm>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict/load/LoadWork";
constexpr long LINE_TOO_LONG = 39;

} // namespace

std::string LoadWork::toBytes() const {
    MemoryOutputStream output;
    output.writeString(m_task);
    output.writeString(m_folderState);
    output.writeUInt64(m_fileIndex);
    output.writeUInt64(m_blockIndex);
    output.writeUInt32(m_isFull ? 1 : 0);
    output.writeUInt64(m_bytesOfRows);
    for (const Shard& shard : m_shards) {
        output.writeUInt64(shard.m_bytesOfTerms);
        output.writeUInt64(shard.m_bytesOfIDs);
        output.writeUInt32(shard.m_isResolved ? 1 : 0);
    }
    output.writeUInt64(m_numberOfRows);
    output.writeUInt64(m_bytesOfRowFiles.size());
    for (const uint64_t bytesOfFile : m_bytesOfRowFiles)
        output.writeUInt64(bytesOfFile);
    return output.getBytes();
}

LoadWork LoadWork::parse(const std::string& bytes) {
    MemoryInputStream input(bytes);
    LoadWork work;
    for (std::string* const text : {&work.m_task, &work.m_folderState}) {
        text->resize(std::min<uint64_t>(input.readUInt64(), bytes.size())); // a longer one ends too early
        input.readExactly(text->data(), text->size());
    }
    work.m_fileIndex = input.readUInt64();
    work.m_blockIndex = input.readUInt64();
    work.m_isFull = input.readUInt32() != 0;
    work.m_bytesOfRows = input.readUInt64();
    for (Shard& shard : work.m_shards) {
        shard.m_bytesOfTerms = input.readUInt64();
        shard.m_bytesOfIDs = input.readUInt64();
        shard.m_isResolved = input.readUInt32() != 0;
    }
    work.m_numberOfRows = input.readUInt64();
    for (uint64_t number = input.readUInt64(); number != 0; --number) // a wrong one ends too early
        work.m_bytesOfRowFiles.push_back(input.readUInt64());
    if (char rest; input.read(&rest, 1) != 0)
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_TOO_LONG, MelnarException::NO_CAUSES,
                              "Bytes follow the end of a load's work.");
    return work;
}
