#include "Engine/core/platform/ComponentInfo.h"

#include "Engine/core/platform/DoubleComponentProperty.h"
#include "Engine/core/platform/NumericComponentProperty.h"
#include "Engine/core/platform/TextComponentProperty.h"
#include "Engine/core/platform/stream/OutputStream.h"

#include <utility>

using namespace melnar;

namespace {

constexpr size_t SPACES_PER_LEVEL = 4;

void appendJSONString(std::string& output, const std::string& text) {
    constexpr char HEXADECIMAL_DIGITS[] = "0123456789abcdef";
    output += '"';
    for (const char character : text) {
        const unsigned byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            output += '\\';
            output += character;
        } else if (byte < 0x20) {
            output += "\\u00";
            output += HEXADECIMAL_DIGITS[byte >> 4];
            output += HEXADECIMAL_DIGITS[byte & 0xF];
        } else
            output += character;
    }
    output += '"';
}

} // namespace

ComponentInfo::ComponentInfo(std::string&& name) : m_name(std::move(name)) {}

ComponentInfo::~ComponentInfo() = default;

void ComponentInfo::addNumericProperty(const Metric metric, std::optional<std::string> name, const unsigned long value,
                                       const unsigned short minimumWidth) {
    m_properties.push_back(std::make_unique<NumericComponentProperty>(metric, std::move(name), value, minimumWidth));
}

void ComponentInfo::addDoubleProperty(const Metric metric, std::optional<std::string> name, const double value) {
    m_properties.push_back(std::make_unique<DoubleComponentProperty>(metric, std::move(name), value));
}

void ComponentInfo::addTextProperty(const Metric metric, std::optional<std::string> name, std::string value) {
    m_properties.push_back(std::make_unique<TextComponentProperty>(metric, std::move(name), std::move(value)));
}

void ComponentInfo::addChild(std::unique_ptr<ComponentInfo> child) {
    m_children.push_back(std::move(child));
}

unsigned long ComponentInfo::getSumOverNumericMetric(const Metric metric, const std::optional<std::string> name) const {
    unsigned long sum = 0;
    for (const std::unique_ptr<ComponentProperty>& property : m_properties) {
        const bool isNameAccepted = !name || !property->getName() || *name == *property->getName();
        const auto* const numericProperty = dynamic_cast<const NumericComponentProperty*>(property.get());
        if (numericProperty != nullptr && property->getMetric() == metric && isNameAccepted)
            sum += numericProperty->getValue();
    }
    for (const std::unique_ptr<ComponentInfo>& child : m_children)
        sum += child->getSumOverNumericMetric(metric, name);
    return sum;
}

void ComponentInfo::printText(OutputStream& output) const {
    std::string text;
    appendText(text, 0);
    output.write(text.data(), text.size());
}

void ComponentInfo::appendText(std::string& output, const size_t depth) const {
    output.append(depth * SPACES_PER_LEVEL, ' ').append(m_name).push_back('\n');
    for (const std::unique_ptr<ComponentProperty>& property : m_properties) {
        output.append((depth + 1) * SPACES_PER_LEVEL, ' ').append(property->getLabel()).append(": ");
        const std::string value = property->getValueText();
        const auto* const numericProperty = dynamic_cast<const NumericComponentProperty*>(property.get());
        if (numericProperty != nullptr && value.size() < numericProperty->getMinimumWidth())
            output.append(numericProperty->getMinimumWidth() - value.size(), ' ');
        output.append(value).push_back('\n');
    }
    for (const std::unique_ptr<ComponentInfo>& child : m_children)
        child->appendText(output, depth + 1);
}

void ComponentInfo::printJSON(OutputStream& output) const {
    std::string text;
    appendJSON(text, 0);
    text += '\n';
    output.write(text.data(), text.size());
}

void ComponentInfo::appendJSON(std::string& output, const size_t depth) const {
    const std::string indentation((depth + 1) * SPACES_PER_LEVEL, ' ');
    output += "{\n" + indentation + "\"name\": ";
    appendJSONString(output, m_name);
    output += ",\n" + indentation + "\"properties\": [";
    const char* separator = "";
    for (const std::unique_ptr<ComponentProperty>& property : m_properties) {
        output += separator;
        output += "\n" + indentation + "    {\"metric\": \"" + ComponentProperty::getMetricName(property->getMetric());
        output += "\", \"label\": ";
        appendJSONString(output, property->getLabel());
        output += ", \"value\": ";
        if (property->isNumber())
            output += property->getValueText();
        else
            appendJSONString(output, property->getValueText());
        output += '}';
        separator = ",";
    }
    output += (m_properties.empty() ? "" : "\n" + indentation) + "],\n" + indentation + "\"children\": [";
    separator = "";
    for (const std::unique_ptr<ComponentInfo>& child : m_children) {
        output += separator;
        output += "\n" + indentation + "    ";
        child->appendJSON(output, depth + 2);
        separator = ",";
    }
    output += (m_children.empty() ? "" : "\n" + indentation) + "]\n" + std::string(depth * SPACES_PER_LEVEL, ' ') + "}";
}
