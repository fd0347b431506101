#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// How a label of a blank node, which belongs to its document, becomes one that is unique in a dictionary or an output
/// of several documents: labels of document 1 stay as they are, those of document N get "docN-" before them. A label of
/// document 1 that looks like one of another document gets an underscore after its "doc".
///
/// Documents count from 1. Where documents share their labels, all are document 1. Labels that are unique already are
/// those of NO_DOCUMENT, and stay as they are.
namespace BlankNodeScope {

constexpr uint64_t NO_DOCUMENT = 0;

/// So that the files that follow have numbers, too.
constexpr uint64_t LARGEST_DOCUMENT = UINT64_MAX / 2;

/// Whose labels belong to their documents: each one's to itself, or all to one.
enum class Mode : uint8_t { DOCUMENTS, SHARED };

/// Appends the unique label of a label, both without "_:".
void appendLabel(uint64_t document, std::string_view label, std::string& output);

/// The document that a unique label tells.
uint64_t getDocument(std::string_view uniqueLabel) noexcept;

} // namespace BlankNodeScope
