#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

/// Values as bytes, which processes of one run write and read: in the machine's representation, one after the other.

template<class Value>
void appendValue(const Value& value, std::string& bytes) {
    static_assert(std::is_trivially_copyable_v<Value>);
    bytes.append(reinterpret_cast<const char*>(&value), sizeof(value));
}

inline void appendText(const std::string_view text, std::string& bytes) {
    appendValue(text.size(), bytes);
    bytes.append(text);
}

/// Removes a value from bytes that begin with one, and returns it.
template<class Value>
Value takeValue(std::string_view& bytes) {
    static_assert(std::is_trivially_copyable_v<Value>);
    Value value;
    std::memcpy(&value, bytes.substr(0, sizeof(value)).data(), sizeof(value));
    bytes.remove_prefix(sizeof(value));
    return value;
}

inline std::string_view takeText(std::string_view& bytes) {
    const auto size = takeValue<size_t>(bytes);
    const std::string_view text = bytes.substr(0, size);
    bytes.remove_prefix(size);
    return text;
}
