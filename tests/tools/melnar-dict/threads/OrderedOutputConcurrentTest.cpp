#include "tools/melnar-dict/threads/OrderedOutput.h"

#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace melnar;

namespace {

TEST(OrderedOutputConcurrentTest, piecesComeInTheOrderOfTheirNumbers) {
    MemoryOutputStream stream;
    OrderedOutput output(stream);
    std::vector<std::thread> threads;
    for (uint64_t number = 10; number-- > 0;)
        threads.emplace_back([&, number] {
            const std::string text = std::to_string(number);
            if (number % 2 == 0)
                output.write(number, text);
            else
                output.writeInTurn(number, [&](OutputStream& inTurn) {
                    for (const char* const part : {"<", text.c_str(), ">"})
                        inTurn.write(part, std::string(part).size());
                });
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ("0<1>2<3>4<5>6<7>8<9>", stream.getBytes());
    output.startOver();
    output.write(0, "again");
    EXPECT_EQ("0<1>2<3>4<5>6<7>8<9>again", stream.getBytes());
}

TEST(OrderedOutputConcurrentTest, afterAFailureNothingIsWritten) {
    MemoryOutputStream stream;
    OrderedOutput output(stream);
    output.write(0, "first");
    EXPECT_THROW(output.writeInTurn(1, [](OutputStream&) { throw std::runtime_error("failed"); }), std::runtime_error);
    output.write(2, "third");
    EXPECT_EQ("first", stream.getBytes());
}

} // namespace
