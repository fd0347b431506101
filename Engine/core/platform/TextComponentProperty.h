#pragma once

#include "Engine/core/platform/ComponentProperty.h"

namespace melnar {

/// A name or number that is not used in calculations: ASCII letters and digits.
class TextComponentProperty final : public ComponentProperty {
public:
    TextComponentProperty(const Metric metric, std::optional<std::string>&& name, std::string&& value)
        : ComponentProperty(metric, std::move(name)), m_value(std::move(value)) {}

    std::string getValueText() const override { return m_value; }
    bool isNumber() const noexcept override { return false; }

private:
    const std::string m_value;
};

} // namespace melnar
