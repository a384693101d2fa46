// Every seed of every fuzz target's corpus, run through the target's entry point as an ordinary
// test: a seed that crashes, aborts on a broken invariant or trips a sanitizer fails here in
// every build, long before anyone runs the fuzzers. The entry points are the targets' own
// LLVMFuzzerTestOneInput, renamed at build time so that all of them link into this program.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

extern "C" int SetupFuzzOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int ReplyFuzzOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int NosTableFuzzOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int CsvSourceFuzzOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int TimeTextFuzzOneInput(const std::uint8_t* data, std::size_t size);

namespace {

struct Target {
    const char* name;
    const char* corpus;
    int (*run)(const std::uint8_t*, std::size_t);
};

const Target kTargets[] = {
    {.name = "setup", .corpus = SETUP_CORPUS, .run = SetupFuzzOneInput},
    {.name = "reply", .corpus = REPLY_CORPUS, .run = ReplyFuzzOneInput},
    {.name = "nos_table", .corpus = NOS_TABLE_CORPUS, .run = NosTableFuzzOneInput},
    {.name = "csv_source", .corpus = CSV_SOURCE_CORPUS, .run = CsvSourceFuzzOneInput},
    {.name = "time_text", .corpus = TIME_TEXT_CORPUS, .run = TimeTextFuzzOneInput},
};

struct Seed {
    const Target* target;
    std::filesystem::path file;
};

// "setup river-gauge.xml" in test listings instead of the struct's bytes.
void PrintTo(const Seed& seed, std::ostream* out) {
    *out << seed.target->name << ' ' << seed.file.filename().string();
}

std::vector<std::filesystem::path> CorpusFiles(const Target& target) {
    std::vector<std::filesystem::path> files;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(target.corpus, missing)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<Seed> AllSeeds() {
    std::vector<Seed> seeds;
    for (const Target& target : kTargets) {
        for (auto& file : CorpusFiles(target)) {
            seeds.push_back({.target = &target, .file = std::move(file)});
        }
    }
    return seeds;
}

// "setup_river_gauge_xml": the target and the file name, in the characters gtest allows.
std::string SeedName(const ::testing::TestParamInfo<Seed>& info) {
    std::string name =
        std::string(info.param.target->name) + "_" + info.param.file.filename().string();
    std::replace_if(
        name.begin(), name.end(),
        [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
}

class CorpusSeed : public ::testing::TestWithParam<Seed> {};

TEST_P(CorpusSeed, RunsThroughItsTargetWithoutFault) {
    std::ifstream in(GetParam().file, std::ios::binary);
    ASSERT_TRUE(in) << GetParam().file;
    const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in),
                                          std::istreambuf_iterator<char>()};
    EXPECT_EQ(GetParam().target->run(bytes.data(), bytes.size()), 0);
}

INSTANTIATE_TEST_SUITE_P(EveryCorpus, CorpusSeed, ::testing::ValuesIn(AllSeeds()), SeedName);

// A corpus folder moved or emptied would leave its target replaying nothing, and this program
// would still pass.
TEST(FuzzCorpora, EveryTargetHasSeedsToReplay) {
    for (const Target& target : kTargets) {
        EXPECT_GE(CorpusFiles(target).size(), 3u) << target.name << " in " << target.corpus;
    }
}

}  // namespace
