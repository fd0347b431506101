#pragma once

#include <cstddef>
#include <string>
#include <vector>

constexpr size_t NUMBER_OF_FULLY_COLLIDING_STAGES = 12;
constexpr size_t FULLY_COLLIDING_BLOCK_LENGTH = 8;
constexpr size_t LARGEST_NUMBER_OF_FULLY_COLLIDING_TEXTS = size_t(1) << NUMBER_OF_FULLY_COLLIDING_STAGES;
constexpr size_t FULLY_COLLIDING_TEXT_LENGTH = NUMBER_OF_FULLY_COLLIDING_STAGES * FULLY_COLLIDING_BLOCK_LENGTH;

/// Makes distinct texts of FULLY_COLLIDING_TEXT_LENGTH letters, digits, hyphens and underscores whose 64-bit hashes are
/// all equal. So they have the same home bucket in every hash table, and the same fingerprint. They still collide when
/// each is continued with the same bytes, such as a language tag.
///
/// A text is a chain of blocks. For each position in the chain there are two blocks that lead from one state of the
/// hash to the same next state. tests/collisions/make_fully_colliding_texts.cpp has found them.
///
/// Errors  std::length_error for more than LARGEST_NUMBER_OF_FULLY_COLLIDING_TEXTS.
std::vector<std::string> makeFullyCollidingTexts(size_t number);
