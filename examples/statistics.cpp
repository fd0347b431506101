// Statistics: what a dictionary holds and what memory it takes, as a tree that programs walk, or print as it is.

#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "Melnar.h"

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

using Metric = ComponentInfo::Metric;

/// Prints what takes memory, each part below the whole that it belongs to.
void printMemory(const ComponentInfo& component, const size_t depth = 0) {
    // The figures of the node and of all nodes below it.
    const unsigned long bytes = component.getSumOverNumericMetric(Metric::MEMORY_CONSUMED, std::nullopt);
    std::cout << std::string(2 * depth, ' ') << component.getName() << ": " << bytes << " bytes\n";
    for (const std::unique_ptr<ComponentInfo>& child : component.getChildren())
        if (child->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, std::nullopt) != 0)
            printMemory(*child, depth + 1);
}

/// Prints the figures of one kind, of a node and of all nodes below it.
void printAll(const ComponentInfo& component, const Metric metric) {
    for (const std::unique_ptr<ComponentProperty>& property : component.getProperties())
        if (property->getMetric() == metric)
            std::cout << component.getName() << ", " << property->getLabel() << ": " << property->getValueText()
                      << '\n';
    for (const std::unique_ptr<ComponentInfo>& child : component.getChildren())
        printAll(*child, metric);
}

} // namespace

int main() {
    // The largest number of resources decides the width of a hash table's bucket: 4 bytes here.
    Dictionary dictionary({.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 1'000'000});
    {
        DictionaryThread thread(dictionary);
        for (size_t number = 0; number < 1000; ++number) {
            const std::string text = std::to_string(number);
            dictionary.resolveResource(thread, text, D_XSD_STRING);
            dictionary.resolveResource(thread, text + (number % 10 == 0 ? "@de" : "@en"), D_RDF_PLAIN_LITERAL);
            dictionary.resolveResource(thread, "http://example.org/" + text, D_IRI);
        }
    }

    // Takes constant time, at any time.
    std::cout << dictionary.size() << " resources, " << dictionary.getMemoryInUse() << " bytes of at most "
              << dictionary.getMemoryLimit() << "\n\n";

    // Walks a byte of each resource; other threads may resolve meanwhile.
    printMemory(*dictionary.getComponentInfo());

    // Walks the texts and the tables, too, while no thread resolves.
    const std::unique_ptr<ComponentInfo> details = dictionary.getDetailedComponentInfo();
    for (const Metric metric : {Metric::LOAD_FACTOR, Metric::AVERAGE_PROBE_LENGTH, Metric::NUMBER_OF_RESOURCES,
                                Metric::BYTES_OF_TEXT, Metric::BYTES_PER_RESOURCE}) {
        std::cout << '\n';
        printAll(*details, metric);
    }

    for (const std::unique_ptr<ComponentInfo>& child : details->getChildren())
        if (child->getName() == "Languages") {
            melnar::MemoryOutputStream output;
            child->printJSON(output);
            std::cout << '\n' << output.getBytes();
        }
}
