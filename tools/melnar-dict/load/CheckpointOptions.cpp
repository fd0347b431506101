#include "tools/melnar-dict/load/CheckpointOptions.h"

void addCheckpoint(VerbDescription& verb, const std::string& condition, CheckpointOptions& variable) {
    verb.addOption(
        "--checkpoint", "N",
        condition + "save an unfinished load every N minutes (default: 10), or with \"Nb\" every N blocks of 1 MiB; 0 "
                    "disables it",
        [&variable](const std::string& value) {
            constexpr uint64_t LARGEST = 1'000'000'000;
            const bool countsBlocks = value.ends_with('b');
            const std::string number = countsBlocks ? value.substr(0, value.size() - 1) : value;
            const uint64_t parsed =
                VerbDescription::requireNumber("--checkpoint", number, countsBlocks ? 1 : 0, LARGEST);
            variable.m_isGiven = true;
            variable.m_blocks = countsBlocks ? parsed : 0;
            if (!countsBlocks)
                variable.m_interval = std::chrono::minutes(parsed);
        });
}
