#pragma once

#include "Engine/core/data-store/dictionary/DictionaryCommitPoint.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string_view>

class Dictionary;

/// A lookup as Dictionary::tryResolveResource performs it.
using LookUpUnderTest =
    std::function<uint64_t(const Dictionary&, DictionaryCommitPoint, std::string_view form, uint8_t datatypeID)>;

/// Records random histories of two to four threads that use a few terms of a small dictionary: they resolve and look
/// up, one by one and in batches, read by ID, commit and roll back. Before each history the table is filled, so that in
/// most of them it grows; in some of them no memory is left for that. Decides for each history whether it is
/// linearizable. Prints each one that is not, and then a line. Returns whether there was none, and all kinds of
/// operations have run concurrently with others.
///
/// `lookUp` replaces the lookups, to check that wrong answers are found.
bool tortureLinearizability(size_t numberOfHistories, uint32_t seed, std::ostream& output,
                            const LookUpUnderTest& lookUp = nullptr);
