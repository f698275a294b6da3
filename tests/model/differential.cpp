// differential: runs module and model against each other and tells the first cases that differ.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "DifferentialCases.h"

namespace {

using namespace h265_model;

constexpr char USAGE[] = "usage: differential [--seed N] [--first N] [--cases N] [--reader rbsp|decoder|both] "
                         "[--kind NAME]\n";

struct Options
{
    std::uint64_t ulSeed = 1;
    std::uint64_t ulFirst = 0;
    std::uint64_t ulCases = 100000; // of each kind and reader
    std::vector<Reader> readers = {Reader::Decoder, Reader::Rbsp};
    std::vector<Kind> kinds;
};

bool takeReader(std::string_view name, Options& options)
{
    if (name == "decoder")
        options.readers = {Reader::Decoder};
    else if (name == "rbsp")
        options.readers = {Reader::Rbsp};
    return name == "decoder" || name == "rbsp" || name == "both";
}

bool takeKind(std::string_view name, Options& options)
{
    for (unsigned i = 0; i < KIND_COUNT; ++i) {
        if (name == KIND_NAMES[i]) {
            options.kinds = {static_cast<Kind>(i)};
            return true;
        }
    }
    return false;
}

bool takeOption(std::string_view name, const char* pValue, Options& options)
{
    if (name == "--reader")
        return takeReader(pValue, options);
    if (name == "--kind")
        return takeKind(pValue, options);
    char* pEnd = nullptr;
    const std::uint64_t ulNumber = std::strtoull(pValue, &pEnd, 10);
    if (*pValue == '\0' || *pEnd != '\0')
        return false;
    if (name == "--seed")
        options.ulSeed = ulNumber;
    else if (name == "--first")
        options.ulFirst = ulNumber;
    else if (name == "--cases")
        options.ulCases = ulNumber;
    else
        return false;
    return true;
}

// Whether all cases agreed; stops a kind at its first difference.
bool runKind(const Options& options, Kind kind, Reader reader)
{
    Tally tally;
    bool bGood = true;
    for (std::uint64_t i = 0; i < options.ulCases && bGood; ++i) {
        const CaseId id{kind, reader, options.ulSeed, options.ulFirst + i};
        const std::string differences = runCase(id, tally);
        if (!differences.empty()) {
            std::printf("DIFFERS: %s\n%s", describe(id).c_str(), differences.c_str());
            bGood = false;
        }
    }
    std::printf("%s, %s:", KIND_NAMES[static_cast<unsigned>(kind)], reader == Reader::Decoder ? "decoder" : "rbsp");
    for (unsigned i = 0; i < READING_COUNT; ++i) {
        const Tally::Count& count = tally.counts[i];
        if (count.ulDone != 0)
            std::printf(" %s %llu of %llu",
                        READING_NAMES[i],
                        static_cast<unsigned long long>(count.ulGood),
                        static_cast<unsigned long long>(count.ulDone));
    }
    for (unsigned i = 0; i < FEATURE_COUNT; ++i) {
        if (tally.features[i] != 0)
            std::printf(", %s %llu", FEATURE_NAMES[i], static_cast<unsigned long long>(tally.features[i]));
    }
    std::printf("\n");
    std::fflush(stdout);
    return bGood;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    for (unsigned i = 0; i < KIND_COUNT; ++i)
        options.kinds.push_back(static_cast<Kind>(i));
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 == argc || !takeOption(argv[i], argv[i + 1], options)) {
            std::fputs(USAGE, stderr);
            return 2;
        }
    }
    bool bGood = true;
    for (const Kind kind : options.kinds) {
        for (const Reader reader : options.readers)
            bGood = runKind(options, kind, reader) && bGood;
    }
    return bGood ? 0 : 1;
}
