#pragma once

#include "tools/melnar-dict/shell/FileIdentity.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Checks an output of a verb: refuses, before any work, an output that would destroy something or cannot succeed.
///
/// Errors  ToolFailure, with ExitCode::USAGE unless stated otherwise.
class OutputCheck {
public:
    /// Refuses a name of something that exists and is not a regular file, and a name in the folder of a dictionary,
    /// none of whose files may be lost. With `isForced`, a regular file that is not an input may be replaced,
    /// regardless of its contents and its folder, and the free space is not checked.
    OutputCheck(const std::string& outputName, bool isForced);

    /// Only inputs are refused for standard output.
    static OutputCheck ofStandardOutput();

    /// Returns whether the output is this dictionary itself, which is replaced in place. Symbolic links to it count;
    /// another hard link of it is a different output, and the dictionary is an input.
    bool isOutput(const std::string& inputName) const;

    /// Refuses an input, "-" being standard input, that is the output, or one of the files that are created and removed
    /// when the output is written, or the dictionary in whose folder the output is.
    void refuseInput(const std::string& inputName) const;

    /// Refuses a second output that is this one, existing or not, or one of the files that are created when this one is
    /// written.
    void refuseOutput(const std::string& outputName) const;

    /// Refuses an output that exists and is not a dictionary, sound or not.
    void requireDictionaryOrNothing() const;

    /// Refuses an output that exists and does not begin with these bytes. `noun`, with its article, describes files
    /// that do.
    void requireBeginningOrNothing(std::string_view beginning, const std::string& noun) const;

    /// Refuses an output that is a dictionary.
    void refuseDictionary() const;

    /// Refuses, with ExitCode::FAILURE, a file system that has less free space than this.
    void requireRoom(uint64_t numberOfBytes) const;

    /// Returns whether there is a folder of this name with the manifest of a dictionary, sound or not.
    static bool isDictionaryFolder(const std::string& folderName);

    /// Returns the free space for this user on the file system of a folder. Nothing if the file system does not report
    /// it.
    static std::optional<uint64_t> getFreeBytes(const std::string& folderName);

private:
    OutputCheck(); // standard output

    bool isDictionary() const;

    std::string m_outputName;
    bool m_isForced;
    std::string m_targetName;
    std::string m_folderName;
    std::string m_temporaryFileName;
    std::string m_replacedFileName;
    std::string m_lockFileName;
    std::optional<FileIdentity> m_output; // nothing if the file does not exist yet
    std::vector<std::pair<FileIdentity, std::string>>
        m_files; // files that writing destroys, and their names in messages
};
