#include "tests/tools/melnar-dict/load/RdfFacts.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <stdexcept>

#include <openssl/evp.h>

namespace {

std::string escape(const std::string& form) {
    std::string line;
    for (const char character : form)
        if (character == '\\')
            line += "\\\\";
        else if (character == '\n')
            line += "\\n";
        else
            line += character;
    return line + '\n';
}

} // namespace

std::optional<std::string> getDataFolder() {
    const char* const folder = std::getenv("MELNAR_DATA");
    if (folder == nullptr || !std::filesystem::is_directory(folder))
        return std::nullopt;
    return folder;
}

std::string hashBytes(const std::string_view bytes) {
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    std::array<unsigned char, 32> digest{};
    if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("OpenSSL does not start.");
    EVP_DigestUpdate(context.get(), bytes.data(), bytes.size());
    EVP_DigestFinal_ex(context.get(), digest.data(), nullptr);
    std::string text;
    for (const unsigned char byte : digest) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

std::string hashSortedForms(const std::vector<std::string>& sortedForms) {
    // The facts contain the escaped lines, sorted; a backslash and a line feed sort differently when escaped.
    std::vector<std::string> lines;
    std::transform(sortedForms.begin(), sortedForms.end(), std::back_inserter(lines), &escape);
    std::sort(lines.begin(), lines.end());
    std::string bytes;
    for (const std::string& line : lines)
        bytes += line;
    return hashBytes(bytes);
}
