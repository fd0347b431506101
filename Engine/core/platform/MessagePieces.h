#pragma once

#include "Engine/core/platform/DecimalNumbers.h"

#include <concepts>
#include <string>
#include <type_traits>

/// The types from which the message of an exception may be joined: texts and unsigned numbers. Signed numbers and
/// characters are excluded, since they would silently become large unsigned numbers.
template<class T>
concept MessageNumber = std::unsigned_integral<std::remove_cvref_t<T>> && !std::same_as<std::remove_cvref_t<T>, bool> &&
                        !std::same_as<std::remove_cvref_t<T>, unsigned char>;

template<class T>
concept MessagePiece =
    MessageNumber<T> || std::convertible_to<T, const char*> || std::same_as<std::remove_cvref_t<T>, std::string>;

inline void appendMessagePiece(std::string& message, const char* const piece) {
    message += piece;
}

inline void appendMessagePiece(std::string& message, const std::string& piece) {
    message += piece;
}

template<MessageNumber Number>
inline void appendMessagePiece(std::string& message, const Number piece) {
    appendDecimal(message, piece);
}

/// Joins the pieces from left to right.
template<MessagePiece... Pieces>
std::string joinMessagePieces(const Pieces&... pieces) {
    std::string message;
    (appendMessagePiece(message, pieces), ...);
    return message;
}
