#include "tests/torture/SequentialDictionary.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

using Kind = SequentialDictionary::Kind;
using Operation = SequentialDictionary::Operation;

constexpr size_t A = 0;
constexpr size_t B = 1;
constexpr uint64_t ALL = ~uint64_t(0);

Operation resolve(const size_t term, const uint64_t resourceID) {
    return {Kind::RESOLVE, term, resourceID, 0};
}

Operation lookUp(const size_t term, const uint64_t point, const uint64_t resourceID) {
    return {Kind::LOOK_UP, term, resourceID, point};
}

Operation read(const uint64_t resourceID, const size_t term) {
    return {Kind::READ, term, resourceID, 0};
}

Operation commit(const uint64_t commitPoint) {
    return {Kind::COMMIT, 0, commitPoint, 0};
}

Operation startRollback(const uint64_t nextID) {
    return {Kind::START_ROLLBACK, 0, nextID, 0};
}

Operation withdraw(const size_t term) {
    return {Kind::WITHDRAW, term, 0, 0};
}

Operation forget(const size_t term) {
    return {Kind::FORGET, term, 0, 0};
}

/// Returns whether an empty dictionary may answer in this way.
bool mayAnswer(const std::vector<Operation>& operations) {
    SequentialDictionary::State state;
    for (const Operation& operation : operations)
        if (!SequentialDictionary::apply(state, operation))
            return false;
    return true;
}

TEST(SequentialDictionaryTest, aTermHasOneIDAndAnIDOneTerm) {
    EXPECT_TRUE(mayAnswer({resolve(A, 1), resolve(B, 2), resolve(A, 1)}));
    EXPECT_TRUE(mayAnswer({resolve(A, 2), resolve(B, 1)})) << "another thread may get the first ID";
    EXPECT_FALSE(mayAnswer({resolve(A, 1), resolve(A, 2)}));
    EXPECT_FALSE(mayAnswer({resolve(A, 1), resolve(B, 1)}));
    EXPECT_FALSE(mayAnswer({resolve(A, 0)}));
    EXPECT_FALSE(mayAnswer({resolve(A, 5)})) << "there are only four terms";
}

TEST(SequentialDictionaryTest, aLookupSeesWhatItsCommitPointCovers) {
    EXPECT_TRUE(mayAnswer({lookUp(A, ALL, 0), resolve(A, 1), lookUp(A, ALL, 1), lookUp(A, 1, 0), lookUp(A, 2, 1)}));
    EXPECT_FALSE(mayAnswer({resolve(A, 1), lookUp(A, ALL, 0)}));
    EXPECT_FALSE(mayAnswer({resolve(A, 1), lookUp(A, 1, 1)}));
    EXPECT_FALSE(mayAnswer({resolve(A, 1), lookUp(B, ALL, 1)}));
}

TEST(SequentialDictionaryTest, anIDIsReadAsItsTerm) {
    EXPECT_TRUE(mayAnswer({read(1, SequentialDictionary::NO_TERM), resolve(A, 1), read(1, A)}));
    EXPECT_FALSE(mayAnswer({resolve(A, 1), read(1, B)}));
    EXPECT_FALSE(mayAnswer({resolve(A, 1), read(1, SequentialDictionary::NO_TERM)}));
}

TEST(SequentialDictionaryTest, aCommitCoversAllResources) {
    EXPECT_TRUE(mayAnswer({resolve(A, 1), commit(2), {Kind::READ_COMMIT_POINT, 0, 2, 0}, resolve(B, 2), commit(3)}));
    EXPECT_FALSE(mayAnswer({resolve(A, 1), commit(1)}));
    EXPECT_FALSE(mayAnswer({resolve(A, 1), commit(3)})) << "an ID is lost";
    EXPECT_FALSE(mayAnswer({resolve(A, 1), commit(2), {Kind::READ_COMMIT_POINT, 0, 1, 0}}));
}

TEST(SequentialDictionaryTest, aRollbackWithdrawsWhatIsNotCommitted) {
    const std::vector<Operation> rolledBack{resolve(A, 1), commit(2),   resolve(B, 2), startRollback(3),
                                            withdraw(A),   withdraw(B), forget(A),     forget(B)};
    const auto mayAnswerThen = [&rolledBack](const Operation& operation) {
        std::vector<Operation> operations = rolledBack;
        operations.push_back(operation);
        return mayAnswer(operations);
    };
    EXPECT_TRUE(mayAnswerThen(lookUp(A, ALL, 1)));
    EXPECT_TRUE(mayAnswerThen(lookUp(B, ALL, 0)));
    EXPECT_TRUE(mayAnswerThen(read(1, A)));
    EXPECT_TRUE(mayAnswerThen(read(2, SequentialDictionary::NO_TERM)));
    EXPECT_TRUE(mayAnswerThen(resolve(B, 3)));
    EXPECT_FALSE(mayAnswerThen(lookUp(A, ALL, 0)));
    EXPECT_FALSE(mayAnswerThen(lookUp(B, ALL, 2)));
    EXPECT_FALSE(mayAnswerThen(read(2, B)));
    EXPECT_FALSE(mayAnswerThen(resolve(B, 2))) << "an ID is given again";
    EXPECT_FALSE(mayAnswerThen(commit(2)));
}

TEST(SequentialDictionaryTest, aRollbackHasSteps) {
    EXPECT_TRUE(mayAnswer({resolve(A, 1), resolve(B, 2), startRollback(3), withdraw(B), lookUp(A, ALL, 1),
                           lookUp(B, ALL, 0), read(2, B), forget(B), read(2, SequentialDictionary::NO_TERM)}));
    EXPECT_FALSE(mayAnswer({resolve(A, 1), withdraw(A), startRollback(2)})) << "it starts with the first step";
    EXPECT_FALSE(mayAnswer({resolve(A, 1), startRollback(2), forget(A)})) << "no lookup finds what cannot be read";
}

} // namespace
