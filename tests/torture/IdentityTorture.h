#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <span>

/// Changes the answers of a batch, as a faulty dictionary would.
using ChangeAnswers = std::function<void(std::span<BatchEntry>)>;

/// Performs at least `numberOfOperations` in threads on a dictionary with terms of all families, and compares each
/// answer with a model: no ID ever means another term, no term has two IDs, and an ID that is read gives exactly its
/// term. An entry of a batch counts as an operation, and most are such. From time to time all threads rest, everything
/// is compared, and then the dictionary is committed, rolled back or compacted, with a part of the terms removed.
///
/// Prints each difference, and then a line. Returns whether there was none, and everything has happened.
bool tortureIdentity(uint64_t numberOfOperations, size_t numberOfThreads, uint32_t seed, std::ostream& output,
                     const ChangeAnswers& changeAnswers = nullptr);
