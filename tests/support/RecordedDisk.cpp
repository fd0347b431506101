#include "tests/support/RecordedDisk.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

RecordedDisk::RecordedDisk(const std::string& folder) : m_folder(folder), m_numberOfInodes(0), m_folderDescriptor(-1) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        m_initialContents.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        m_initialNames[entry.path().filename().string()] = m_numberOfInodes++;
    }
    m_names = m_initialNames;
}

std::string RecordedDisk::getNameWithinFolder(const char* const fileName) const {
    const std::filesystem::path path(fileName);
    if (std::filesystem::path(m_folder) / "" != path.parent_path() / "")
        throw std::logic_error("A file outside the folder is used.");
    return path.filename().string();
}

void RecordedDisk::opened(const char* const fileName, const int flags, const int fileDescriptor) {
    if ((flags & O_DIRECTORY) != 0) {
        m_folderDescriptor = fileDescriptor;
        m_inodes.erase(fileDescriptor);
        return;
    }
    const std::string name = getNameWithinFolder(fileName);
    if (m_names.count(name) == 0) {
        m_names[name] = m_numberOfInodes;
        m_operations.push_back({Kind::CREATE, m_numberOfInodes++, 0, "", name, ""});
    }
    if ((flags & O_TRUNC) != 0)
        m_operations.push_back({Kind::TRUNCATE, m_names[name], 0, "", name, ""});
    if (m_folderDescriptor == fileDescriptor)
        m_folderDescriptor = -1;
    m_inodes[fileDescriptor] = m_names[name];
    m_positions[fileDescriptor] = 0;
}

void RecordedDisk::written(const int fileDescriptor, const void* const data, const size_t numberOfBytes) {
    size_t& position = m_positions.at(fileDescriptor);
    m_operations.push_back({Kind::WRITE, m_inodes.at(fileDescriptor), position,
                            std::string(static_cast<const char*>(data), numberOfBytes), "", ""});
    position += numberOfBytes;
}

void RecordedDisk::synchronized(const int fileDescriptor) {
    if (fileDescriptor == m_folderDescriptor)
        m_operations.push_back({Kind::FLUSH_FOLDER, 0, 0, "", "", ""});
    else
        m_operations.push_back({Kind::FLUSH_FILE, m_inodes.at(fileDescriptor), 0, "", "", ""});
}

void RecordedDisk::renamed(const char* const oldName, const char* const newName) {
    const std::string from = getNameWithinFolder(oldName);
    const std::string to = getNameWithinFolder(newName);
    m_operations.push_back({Kind::RENAME, m_names.at(from), 0, "", from, to});
    m_names[to] = m_names.at(from);
    m_names.erase(from);
}

void RecordedDisk::unlinked(const char* const fileName) {
    const std::string name = getNameWithinFolder(fileName);
    m_operations.push_back({Kind::UNLINK, m_names.at(name), 0, "", name, ""});
    m_names.erase(name);
}

void RecordedDisk::forgetFlushesOfFiles() {
    std::erase_if(m_operations, [](const Operation& operation) { return operation.m_kind == Kind::FLUSH_FILE; });
}

/// Returns the operations on contents that no later flush of their file has completed.
std::vector<size_t> RecordedDisk::getUnflushedContents(const size_t numberOfOperations) const {
    std::map<Inode, size_t> lastFlushes;
    for (size_t index = 0; index < numberOfOperations; ++index)
        if (m_operations[index].m_kind == Kind::FLUSH_FILE)
            lastFlushes[m_operations[index].m_inode] = index;
    std::vector<size_t> unflushed;
    for (size_t index = 0; index < numberOfOperations; ++index) {
        const Operation& operation = m_operations[index];
        if (operation.m_kind != Kind::WRITE && operation.m_kind != Kind::TRUNCATE)
            continue;
        const auto lastFlush = lastFlushes.find(operation.m_inode);
        if (lastFlush == lastFlushes.end() || lastFlush->second < index)
            unflushed.push_back(index);
    }
    return unflushed;
}

size_t RecordedDisk::getNumberOfUnflushedNames(const size_t numberOfOperations) const {
    size_t unflushed = 0;
    for (size_t index = 0; index < numberOfOperations; ++index)
        switch (m_operations[index].m_kind) {
        case Kind::CREATE:
        case Kind::RENAME:
        case Kind::UNLINK:
            ++unflushed;
            break;
        case Kind::FLUSH_FOLDER:
            unflushed = 0;
            break;
        default:
            break;
        }
    return unflushed;
}

RecordedDisk::State RecordedDisk::materialise(const size_t numberOfOperations, const Fate& fate) const {
    const std::vector<size_t> unflushed = getUnflushedContents(numberOfOperations);
    std::vector<std::string> contents = m_initialContents;
    contents.resize(m_numberOfInodes);
    std::map<std::string, Inode> names = m_initialNames;
    size_t numberOfNameOperations = 0;
    for (size_t index = 0; index < numberOfOperations; ++index) {
        const Kind kind = m_operations[index].m_kind;
        numberOfNameOperations += kind == Kind::CREATE || kind == Kind::RENAME || kind == Kind::UNLINK;
    }
    size_t keptNameOperations = numberOfNameOperations - fate.m_lostNameOperations;
    for (size_t index = 0; index < numberOfOperations; ++index) {
        const Operation& operation = m_operations[index];
        const bool isOfNames =
            operation.m_kind == Kind::CREATE || operation.m_kind == Kind::RENAME || operation.m_kind == Kind::UNLINK;
        if (isOfNames) {
            if (keptNameOperations == 0)
                continue;
            --keptNameOperations;
            if (operation.m_kind != Kind::CREATE)
                names.erase(operation.m_name);
            if (operation.m_kind != Kind::UNLINK)
                names[operation.m_kind == Kind::CREATE ? operation.m_name : operation.m_newName] = operation.m_inode;
            continue;
        }
        if (operation.m_kind != Kind::WRITE && operation.m_kind != Kind::TRUNCATE)
            continue;
        const auto position = std::lower_bound(unflushed.begin(), unflushed.end(), index);
        const bool isUnflushed = position != unflushed.end() && *position == index;
        const size_t number = static_cast<size_t>(position - unflushed.begin());
        if (isUnflushed && !fate.m_isWritten[number])
            continue;
        std::string& content = contents[operation.m_inode];
        if (operation.m_kind == Kind::TRUNCATE) {
            content.clear();
            continue;
        }
        for (size_t begin = 0, sector = 0; begin < operation.m_data.size(); begin += SECTOR_SIZE, ++sector) {
            if (isUnflushed && !fate.m_isSectorWritten[number].empty() && !fate.m_isSectorWritten[number][sector])
                continue;
            const size_t size = std::min(SECTOR_SIZE, operation.m_data.size() - begin);
            const size_t end = operation.m_position + begin + size;
            if (content.size() < end)
                content.resize(end, '\0');
            content.replace(operation.m_position + begin, size, operation.m_data, begin, size);
        }
    }
    State state;
    for (const auto& [name, inode] : names)
        state[name] = contents[inode];
    return state;
}

std::vector<RecordedDisk::State> RecordedDisk::getStates(const size_t numberOfOperations,
                                                         const size_t numberOfRandomStates,
                                                         std::minstd_rand& random) const {
    const std::vector<size_t> unflushed = getUnflushedContents(numberOfOperations);
    std::vector<State> states;
    const size_t unflushedNames = getNumberOfUnflushedNames(numberOfOperations);
    for (size_t lostNames = 0; lostNames <= unflushedNames; ++lostNames) {
        Fate fate{lostNames, std::vector<bool>(unflushed.size(), true),
                  std::vector<std::vector<bool>>(unflushed.size())};
        states.push_back(materialise(numberOfOperations, fate));
        fate.m_isWritten.flip();
        states.push_back(materialise(numberOfOperations, fate));
        for (size_t number = 0; number < unflushed.size(); ++number) {
            fate.m_isWritten[number] = true; // alone
            states.push_back(materialise(numberOfOperations, fate));
            fate.m_isWritten.flip(); // missing
            states.push_back(materialise(numberOfOperations, fate));
            fate.m_isWritten.flip();
            fate.m_isWritten[number] = false;
        }
        for (size_t count = 0; count < numberOfRandomStates; ++count) {
            for (size_t number = 0; number < unflushed.size(); ++number) {
                fate.m_isWritten[number] = random() % 4 != 0;
                fate.m_isSectorWritten[number].clear();
                if (random() % 2 == 0)
                    for (size_t begin = 0; begin < m_operations[unflushed[number]].m_data.size(); begin += SECTOR_SIZE)
                        fate.m_isSectorWritten[number].push_back(random() % 8 != 0);
            }
            states.push_back(materialise(numberOfOperations, fate));
        }
    }
    return states;
}
