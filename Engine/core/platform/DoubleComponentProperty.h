#pragma once

#include "Engine/core/platform/ComponentProperty.h"

#include <array>
#include <charconv>

namespace melnar {

/// A real number, such as a percentage.
class DoubleComponentProperty final : public ComponentProperty {
public:
    DoubleComponentProperty(const Metric metric, std::optional<std::string>&& name, const double value)
        : ComponentProperty(metric, std::move(name)), m_value(value) {}

    /// Returns the shortest decimal form that is parsed as the same number.
    std::string getValueText() const override {
        std::array<char, 32> buffer;
        return std::string(buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), m_value).ptr);
    }

    double getValue() const noexcept { return m_value; }

private:
    const double m_value;
};

} // namespace melnar
