#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize);

namespace {

void replay(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    // A block of exactly the case's size; the name comes first, for the case that ends the process.
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);
    const std::vector<unsigned char> bytes(content.begin(), content.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

} // namespace

// What stands in for libFuzzer: runs the target over the files given, and those in the directories given.
int main(int argc, char** argv)
{
    std::size_t uiCases = 0;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            replay(argv[i]);
            ++uiCases;
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            replay(entry.path());
            ++uiCases;
        }
    }
    std::printf("%zu cases\n", uiCases);
    return uiCases != 0 ? 0 : 1;
}
