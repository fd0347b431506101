#pragma once

#include "tools/melnar-dict/shell/FileIdentity.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What a verb is asked to write: refuses, before any work, an output that would destroy something or cannot succeed.
///
/// Errors  ToolFailure, with ExitCode::USAGE unless something else is said.
class OutputCheck {
public:
    /// Refuses a name that leads to anything but a regular file or nothing, and one in the folder of a dictionary, of
    /// whose files none may be lost. With `isForced`, a regular file that is not an input may be replaced without regard
    /// to its contents and its folder, and room is not estimated.
    OutputCheck(const std::string& outputName, bool isForced);

    /// Only inputs are refused for standard output.
    static OutputCheck ofStandardOutput();

    /// Whether the output is this dictionary itself, to be replaced in its place. Symbolic links may lead there; by
    /// another hard link it is another place, and an input.
    bool isOutput(const std::string& inputName) const;

    /// Refuses an input, "-" being standard input, that is the output, or one of the files that writing the output makes
    /// and removes, or the dictionary in whose folder the output is.
    void refuseInput(const std::string& inputName) const;

    /// Refuses a second output that is this one, there or not yet, or one of the files that writing this one makes.
    void refuseOutput(const std::string& outputName) const;

    /// Refuses an output that exists and is not a dictionary, sound or not.
    void requireDictionaryOrNothing() const;

    /// Refuses an output that exists and does not begin with these bytes. `noun`, with its article, is what does.
    void requireBeginningOrNothing(std::string_view beginning, const std::string& noun) const;

    /// Refuses an output that is a dictionary.
    void refuseDictionary() const;

    /// Refuses, with ExitCode::FAILURE, a file system that has less room than this beside the files that are there.
    void requireRoom(uint64_t numberOfBytes) const;

    /// Whether there is a folder of this name with the manifest of a dictionary, sound or not.
    static bool isDictionaryFolder(const std::string& folderName);

    /// How much room there is for this user on the file system of a folder. Not every one tells.
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
    std::optional<FileIdentity> m_output;                      // nothing when there is no such file yet
    std::vector<std::pair<FileIdentity, std::string>> m_files; // what writing destroys, and how messages call it
};
