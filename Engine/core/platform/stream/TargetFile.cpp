#include "Engine/core/platform/stream/TargetFile.h"

#include "Engine/core/platform/SystemCallException.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

#include <unistd.h>

namespace melnar {

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/platform/stream/TargetFile";
constexpr long LINE_CANNOT_FOLLOW_LINKS = 30;
constexpr long LINE_CANNOT_EXAMINE = 88;
constexpr long LINE_NOT_A_REGULAR_FILE = 92;

// The number of links that Linux follows.
constexpr unsigned MAXIMUM_NUMBER_OF_LINKS = 40;

std::string getFolderNameOf(const std::string& fileName) {
    const size_t slash = fileName.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : fileName.substr(0, slash);
}

[[noreturn]] void failToFollowLinks(const std::string& fileName, const char* const systemCallName,
                                    const int errorCode) {
    throw SystemCallException(SOURCE_FILE, LINE_CANNOT_FOLLOW_LINKS, MelnarException::NO_CAUSES, systemCallName,
                              errorCode, "Cannot resolve the path of file '", fileName, "'.");
}

/// Returns an empty text if there is nothing with this name.
std::string getRealPath(const std::string& name, const std::string& fileName) {
    const std::unique_ptr<char, void (*)(void*)> path(::realpath(name.c_str(), nullptr), std::free);
    if (path == nullptr && errno != ENOENT)
        failToFollowLinks(fileName, "realpath", errno);
    return path == nullptr ? std::string() : path.get();
}

/// Returns the name of the file that does not exist, after following the links to it, if any.
std::string followLinksToNothing(const std::string& fileName) {
    std::string name = fileName;
    for (unsigned numberOfLinks = 0; numberOfLinks <= MAXIMUM_NUMBER_OF_LINKS; ++numberOfLinks) {
        std::array<char, PATH_MAX> target;
        const ssize_t length = ::readlink(name.c_str(), target.data(), target.size());
        if (length == -1 && (errno == ENOENT || errno == EINVAL)) // nothing with this name, or no link
            return name;
        if (length == -1)
            failToFollowLinks(fileName, "readlink", errno);
        const std::string targetName(target.data(), static_cast<size_t>(length));
        name = targetName.starts_with('/') ? targetName : getFolderNameOf(name).append("/").append(targetName);
    }
    failToFollowLinks(fileName, "readlink", ELOOP);
}

/// Throws after a failure: if it returned the name of a link instead, the link would be replaced.
std::string followLinks(const std::string& fileName) {
    std::string path = getRealPath(fileName, fileName);
    if (!path.empty())
        return path;
    std::string name = followLinksToNothing(fileName);
    path = getRealPath(getFolderNameOf(name), fileName);
    if (path.empty())
        return name; // creating the file will fail with a message about this name
    if (path != "/")
        path.push_back('/');
    return path.append(name, name.rfind('/') + 1);
}

} // namespace

TargetFile::TargetFile(const std::string& fileName) : m_name(followLinks(fileName)) {
    struct stat status;
    static_cast<void>(examine(status));
}

std::string TargetFile::getFolderName() const {
    return getFolderNameOf(m_name);
}

bool TargetFile::examine(struct stat& status) const {
    if (::stat(m_name.c_str(), &status) != 0) {
        if (errno == ENOENT)
            return false;
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_EXAMINE, MelnarException::NO_CAUSES, "stat", errno,
                                  "Cannot examine file '", m_name, "'.");
    }
    if (!S_ISREG(status.st_mode))
        throw MelnarException(FailureKind::SYSTEM, SOURCE_FILE, LINE_NOT_A_REGULAR_FILE, MelnarException::NO_CAUSES,
                              "'", m_name, "' exists and is not a regular file, so it cannot be replaced.");
    return true;
}

} // namespace melnar
