#pragma once

#include "Engine/core/data-store/dictionary/LexicalFormHash.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

/// Returns the bucket at which the probe for a lexical form starts.
inline size_t getHome(const std::string& lexicalForm, const size_t numberOfBuckets) {
    return hashLexicalForm(lexicalForm.data(), lexicalForm.size()) & (numberOfBuckets - 1);
}

/// Returns `count` distinct lexical forms that end in `suffix` and have the given home in a table of `numberOfBuckets`.
inline std::vector<std::string> getFormsWithHome(const size_t home, const size_t numberOfBuckets, const size_t count,
                                                 const std::string& suffix = "") {
    std::vector<std::string> lexicalForms;
    for (size_t number = 0; lexicalForms.size() < count; ++number) {
        std::string lexicalForm = std::to_string(number) + suffix;
        if (getHome(lexicalForm, numberOfBuckets) == home)
            lexicalForms.push_back(std::move(lexicalForm));
    }
    return lexicalForms;
}
