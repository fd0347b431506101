#pragma once

#include "Engine/core/data-store/Dictionary.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

/// Opens the dictionary in a file's bytes; throws MelnarException if there is none.
using OpenDictionary = std::function<std::unique_ptr<Dictionary>(const std::string& bytes)>;

/// Opens it with the library.
std::unique_ptr<Dictionary> openDictionaryBytes(const std::string& bytes);

/// Changes dictionary files at random: bits, bytes, blocks that are swapped, repeated or zeroed, ends that are removed
/// or added; and forges others, with correct checksums. A changed file must be refused or have its old contents. A
/// forged one must be refused, found by verify, or be a sound dictionary, in which a lookup finds each term under its
/// own ID. Its rows, printed as text and as JSON, must be harmless to a terminal. The same applies, for some files, to
/// the output of every verb of the tool as a process, which must end by itself. Changes files with rows of IDs in the
/// same way: they must be refused, or decoded to the terms of their IDs. Prints each fault, and then a line. Returns
/// whether there was none. A crash, or a minute of processor time for one file, ends the process with a message that
/// names the file.
bool tortureMutations(size_t numberOfMutations, uint32_t seed, std::ostream& output,
                      const OpenDictionary& open = openDictionaryBytes);
