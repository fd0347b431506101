#pragma once

#include "tests/Reader/ReadText.h"

#include "Reader/TurtleRelay.h"

#include <vector>

/// Returns the blocks of a text that is cut at these offsets, which ascend; each claims that a statement ends before
/// it.
std::vector<Rdf::TurtleRelay::Block> cutText(std::string_view text, const std::vector<size_t>& cuts,
                                             Rdf::TurtleRelay::Cut claim = Rdf::TurtleRelay::Cut::AFTER_FULL_STOP);

/// Returns the blocks of a text that is cut where the relay chooses, each at most this many bytes.
std::vector<Rdf::TurtleRelay::Block> cutText(std::string_view text, size_t size, Rdf::Syntax syntax);

/// When runners make their guesses.
enum class GuessOrder {
    AFTER_THE_FIRST_BLOCK, // all of them, knowing only the first block
    A_BLOCK_AHEAD          // each while the block before it is read
};

/// Reads blocks in turn, each with its own runner, in one thread.
ReadResult readInBlocks(const std::vector<Rdf::TurtleRelay::Block>& blocks, const Rdf::ReaderOptions& options,
                        GuessOrder order);
