#pragma once

#include "tests/support/FileOperationObserver.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

/// Records the operations on the files of one folder, and determines what a power cut could leave of it.
///
/// The disk does the worst that its interface allows. Of a file, everything that was written before its last flush is
/// there. Of later writes and truncations, any part may have been done or not, in any order, in units of a sector. Of
/// the names, everything before the last flush of the folder is done; later operations may be lost, from any point on.
class RecordedDisk : public FileOperationObserver {
public:
    /// One state of the folder: contents by file name.
    using State = std::map<std::string, std::string>;

    static constexpr size_t SECTOR_SIZE = 512;

    /// Starts recording; the current contents of the folder are safely on the disk.
    explicit RecordedDisk(const std::string& folder);

    void opened(const char* fileName, int flags, int fileDescriptor) override;
    void written(int fileDescriptor, const void* data, size_t numberOfBytes) override;
    void synchronized(int fileDescriptor) override;
    void renamed(const char* oldName, const char* newName) override;
    void unlinked(const char* fileName) override;

    size_t getNumberOfOperations() const { return m_operations.size(); }

    /// Returns what may be left if the power is cut after the first `numberOfOperations`: the extremes, each unflushed
    /// write alone or missing, and `numberOfRandomStates` random states.
    std::vector<State> getStates(size_t numberOfOperations, size_t numberOfRandomStates,
                                 std::minstd_rand& random) const;

    /// Forgets that files, but not folders, were flushed.
    void forgetFlushesOfFiles();

private:
    using Inode = size_t;

    enum class Kind { CREATE, TRUNCATE, WRITE, FLUSH_FILE, FLUSH_FOLDER, RENAME, UNLINK };

    struct Operation {
        Kind m_kind;
        Inode m_inode;
        size_t m_position;
        std::string m_data;    // written bytes
        std::string m_name;    // within the folder
        std::string m_newName; // of a rename
    };

    /// How much of the operations since the last flushes has reached the disk.
    struct Fate {
        size_t m_lostNameOperations;                      // the last ones
        std::vector<bool> m_isWritten;                    // by unflushed operation on contents, in order
        std::vector<std::vector<bool>> m_isSectorWritten; // of each write, by sector; empty: all
    };

    std::string getNameWithinFolder(const char* fileName) const;
    std::vector<size_t> getUnflushedContents(size_t numberOfOperations) const;
    size_t getNumberOfUnflushedNames(size_t numberOfOperations) const;
    State materialise(size_t numberOfOperations, const Fate& fate) const;

    const std::string m_folder;
    std::vector<std::string> m_initialContents; // by inode
    std::map<std::string, Inode> m_initialNames;
    std::map<std::string, Inode> m_names; // as a process sees them
    size_t m_numberOfInodes;
    std::map<int, Inode> m_inodes;     // by file descriptor
    std::map<int, size_t> m_positions; // by file descriptor
    std::vector<Operation> m_operations;
    int m_folderDescriptor;
};
