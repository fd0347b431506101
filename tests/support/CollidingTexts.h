#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// How many low bits of the hash are equal in all texts of makeCollidingTexts: more than a hash table has index bits.
constexpr size_t NUMBER_OF_COLLIDING_HASH_BITS = 30;

constexpr size_t LARGEST_NUMBER_OF_COLLIDING_TEXTS = size_t(1) << 16;

constexpr size_t COLLIDING_TEXT_LENGTH = 112;

/// Makes distinct texts of COLLIDING_TEXT_LENGTH lower-case letters that all have the same home bucket in any hash
/// table of up to 2^NUMBER_OF_COLLIDING_HASH_BITS buckets. The upper bits of their hashes differ at random. The texts
/// are the same on every machine, and still collide when each is continued by the same bytes, such as a language tag.
///
/// The low bits of 64-bit FNV-1a depend only on the low bits of its state before each byte. A text is a chain of 16
/// blocks. For each position in the chain there are two blocks that lead to the same low bits, found by a birthday
/// search. So every choice of blocks gives the same low bits at the end.
///
/// Errors  std::length_error for more than LARGEST_NUMBER_OF_COLLIDING_TEXTS.
std::vector<std::string> makeCollidingTexts(size_t number);
