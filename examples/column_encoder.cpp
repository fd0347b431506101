// A column encoder: columns of strings become columns of dense IDs, and strings again. For programs that keep data in
// columns, such as analytical databases and data frames.

#include "Melnar.h"

#include <cstdint>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

void print(const std::string_view title, const std::vector<uint64_t>& column) {
    std::cout << title << ':';
    for (const uint64_t resourceID : column)
        std::cout << ' ' << resourceID;
    std::cout << '\n';
}

void print(const std::string_view title, const ArrowStrings<int32_t>& column) {
    std::cout << title << ':';
    for (size_t index = 0; index < column.size(); ++index)
        std::cout << ' ' << (column.isNull(index) ? "(null)" : column.getText(index));
    std::cout << '\n';
}

} // namespace

int main() {
    Dictionary dictionary({.m_memoryLimit = size_t(1) << 30, .m_maximumNumberOfResources = 1000});
    DictionaryThread thread(dictionary); // Each thread that encodes has one of its own.

    // Strings are passed as views, all with one language tag or none. IDs count from 1 in the order in which strings
    // first appear. So they fit into 4 bytes here, and are indexes of what a program keeps beside the dictionary.
    const std::vector<std::string_view> names{"Rom", "Berlin"};
    std::vector<uint64_t> nameIDs(names.size());
    dictionary.encode(thread, names, nameIDs, "de");
    print("names in German", nameIDs);

    // A column as Arrow lays it out: the bytes of all strings, the offsets at which they begin and the last one ends,
    // and a bit for each string, from the lowest on, which is 0 for a null. With an Arrow library these three are the
    // buffers of an array; nothing is copied.
    const std::string_view bytes = "BerlinParisBerlinRome";
    const std::vector<int32_t> offsets{0, 6, 11, 11, 17, 21};
    const uint8_t validity = 0b11011;
    const ArrowStrings<int32_t> cities{bytes.data(), offsets, &validity};
    std::vector<uint64_t> ids(cities.size());
    dictionary.encode(thread, cities, ids); // 0 is the ID of a null.
    print("cities", ids);

    // A lookup creates nothing: what is unknown gets 0. Any thread may do it, without a DictionaryThread.
    const DictionaryCommitPoint commitPoint = dictionary.commit();
    const std::vector<std::string_view> questions{"Paris", "Madrid"};
    std::vector<uint64_t> answers(questions.size());
    dictionary.lookUp(commitPoint, questions, answers);
    print("Paris and Madrid", answers);

    // Back to strings: into buffers for Arrow, which copies them, or as views of the dictionary's own bytes.
    ArrowColumn<int32_t> decoded;
    dictionary.decode(ids, decoded);
    print("decoded", decoded.getStrings());
    std::vector<std::string_view> texts(nameIDs.size());
    std::vector<std::string_view> tags(nameIDs.size());
    dictionary.decode(nameIDs, texts, tags);
    std::cout << "decoded as views: " << texts[0] << '@' << tags[0] << '\n';

    // What an entry fails with names the entry. Here the dictionary is full; strings before the entry are encoded.
    std::vector<std::string> numbers;
    for (size_t number = 0; number < 2000; ++number)
        numbers.push_back(std::to_string(number));
    const std::vector<std::string_view> tooMany(numbers.begin(), numbers.end());
    std::vector<uint64_t> someIDs(tooMany.size());
    try {
        dictionary.encode(thread, tooMany, someIDs);
    } catch (const ColumnException& exception) {
        std::cout << exception.getMessage() << '\n';
    }
    dictionary.rollback(); // withdraws all that was created after the commit

    // A compaction drops strings that are no longer used, and makes the IDs of the others dense. What it returns turns
    // old IDs into new ones.
    const std::vector<uint64_t> newIDs = dictionary.compact(
        [](const uint64_t, const ResourceValue& value) { return value.m_datatypeID == D_XSD_STRING; });
    for (uint64_t& resourceID : ids)
        resourceID = newIDs[resourceID];
    print("cities after the compaction", ids);
    std::cout << dictionary.size() << " strings\n";
}
