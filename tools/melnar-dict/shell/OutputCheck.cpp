#include "tools/melnar-dict/shell/OutputCheck.h"

#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/data-store/sharded/ShardManifest.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "Engine/core/platform/stream/FileInputStream.h"
#include "Engine/core/platform/stream/FileLock.h"

#include <algorithm>

#include <sys/statvfs.h>
#include <unistd.h>

using namespace melnar;

namespace {

constexpr uint64_t BYTES_PER_BLOCK_OF_A_FILE = 512;

/// Returns the name unless it is that of something that cannot be replaced.
const std::string& requireRegularFile(const std::string& fileName) {
    struct stat status;
    if (::stat(fileName.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        throw ToolFailure(ExitCode::USAGE,
                          "'" + fileName + "' exists and is not a regular file, so it cannot be replaced");
    return fileName;
}

/// Reads so many bytes, or all if there are fewer.
std::string readBeginning(const std::string& fileName, const size_t numberOfBytes) {
    FileInputStream input(fileName);
    std::string beginning(numberOfBytes, '\0');
    size_t length = 0;
    while (const size_t delivered = input.read(beginning.data() + length, numberOfBytes - length))
        length += delivered;
    beginning.resize(length);
    return beginning;
}

std::optional<FileIdentity> identifyInput(const std::string& inputName) {
    return inputName == STANDARD_STREAM ? FileIdentity::ofRegularFile(STDIN_FILENO) : FileIdentity::ofName(inputName);
}

} // namespace

bool OutputCheck::isDictionaryFolder(const std::string& folderName) {
    const std::string manifestName = folderName + '/' + ShardManifest::FILE_NAME;
    struct stat status;
    if (::stat(manifestName.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    FileInputStream input(manifestName);
    return ShardManifest::isBeginningOf(input);
}

OutputCheck::OutputCheck(const std::string& outputName, const bool isForced)
    : m_outputName(requireRegularFile(outputName)), m_isForced(isForced) {
    const TargetFile target(outputName);
    m_targetName = target.getName();
    m_folderName = target.getFolderName();
    m_temporaryFileName = AtomicFileOutputStream::getTemporaryFileNameOf(target);
    m_replacedFileName = AtomicFileOutputStream::getReplacedFileNameOf(target);
    m_lockFileName = FileLock::getLockFileNameOf(target);
    m_output = FileIdentity::ofName(outputName);
    const std::string output = "the output '" + outputName + "'";
    for (const auto& [fileName, description] : {std::pair(target.getName(), output),
                                                {m_temporaryFileName, "the temporary file of " + output},
                                                {m_replacedFileName, "the backup file of " + output},
                                                {m_lockFileName, "the lock file of " + output}})
        if (const std::optional<FileIdentity> identity = FileIdentity::ofName(fileName))
            m_files.emplace_back(*identity, description);
    if (!isDictionaryFolder(m_folderName))
        return;
    if (!isForced)
        throw ToolFailure(ExitCode::USAGE,
                          "'" + outputName + "' is in the folder of a dictionary; --force writes it nevertheless");
    if (const std::optional<FileIdentity> folder = FileIdentity::ofName(m_folderName))
        m_files.emplace_back(*folder, "the folder of " + output);
}

OutputCheck::OutputCheck() : m_isForced(false) {
    if (const std::optional<FileIdentity> identity = FileIdentity::ofRegularFile(STDOUT_FILENO))
        m_files.emplace_back(*identity, "standard output");
}

OutputCheck OutputCheck::ofStandardOutput() {
    return {};
}

bool OutputCheck::isOutput(const std::string& inputName) const {
    return m_output && identifyInput(inputName) == m_output && inputName != STANDARD_STREAM &&
           TargetFile(inputName).getName() == m_targetName;
}

void OutputCheck::refuseInput(const std::string& inputName) const {
    const std::optional<FileIdentity> input = identifyInput(inputName);
    const auto file =
        std::find_if(m_files.begin(), m_files.end(), [&](const auto& candidate) { return input == candidate.first; });
    if (file != m_files.end())
        throw ToolFailure(ExitCode::USAGE, "the input '" + inputName + "' is also " + file->second);
}

void OutputCheck::refuseOutput(const std::string& outputName) const {
    const std::string targetName = TargetFile(outputName).getName();
    const std::optional<FileIdentity> identity = FileIdentity::ofName(outputName);
    if ((identity && identity == m_output) || targetName == m_targetName || targetName == m_temporaryFileName ||
        targetName == m_replacedFileName || targetName == m_lockFileName)
        throw ToolFailure(ExitCode::USAGE, "'" + outputName + "' is also the output '" + m_outputName +
                                               "', or a file that is created while it is written");
}

bool OutputCheck::isDictionary() const {
    FileInputStream input(m_outputName);
    return DictionaryFile::isBeginningOf(input);
}

void OutputCheck::requireDictionaryOrNothing() const {
    if (!m_isForced && m_output && !isDictionary())
        throw ToolFailure(ExitCode::USAGE,
                          "'" + m_outputName + "' exists and is not a dictionary; --force replaces it");
}

void OutputCheck::requireBeginningOrNothing(const std::string_view beginning, const std::string& noun) const {
    if (!m_isForced && m_output && readBeginning(m_outputName, beginning.size()) != beginning)
        throw ToolFailure(ExitCode::USAGE,
                          "'" + m_outputName + "' exists and is not " + noun + "; --force replaces it");
}

void OutputCheck::refuseDictionary() const {
    if (!m_isForced && m_output && isDictionary())
        throw ToolFailure(ExitCode::USAGE, "'" + m_outputName + "' is a dictionary; --force replaces it");
}

std::optional<uint64_t> OutputCheck::getFreeBytes(const std::string& folderName) {
    struct statvfs disk;
    if (::statvfs(folderName.c_str(), &disk) != 0 || disk.f_blocks == 0)
        return std::nullopt;
    return uint64_t(::geteuid() == 0 ? disk.f_bfree : disk.f_bavail) * disk.f_frsize;
}

void OutputCheck::requireRoom(const uint64_t numberOfBytes) const {
    std::optional<uint64_t> freeBytes = getFreeBytes(m_folderName);
    if (m_isForced || !freeBytes)
        return;
    struct stat leftover; // is removed before anything is written
    if (::stat(m_temporaryFileName.c_str(), &leftover) == 0)
        *freeBytes += static_cast<uint64_t>(leftover.st_blocks) * BYTES_PER_BLOCK_OF_A_FILE;
    if (*freeBytes < numberOfBytes)
        throw ToolFailure(ExitCode::FAILURE, "'" + m_outputName + "' needs at least " + std::to_string(numberOfBytes) +
                                                 " bytes in addition to the old file, and its disk has " +
                                                 std::to_string(*freeBytes) + " free; --force tries it nevertheless");
}
