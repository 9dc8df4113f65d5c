// Gives a fuzz target each input of its corpus once, without a fuzzer: replay_NAME FOLDER...
//
// A promise that is broken ends the process; the name of the input stands before it.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int* argc, char*** argv);

int main(int argc, char** argv)
{
    if (LLVMFuzzerInitialize)
        LLVMFuzzerInitialize(&argc, &argv);
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i)
        for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
            inputs.push_back(entry.path());
    std::sort(inputs.begin(), inputs.end());
    for (const auto& input : inputs)
    {
        std::ifstream file(input, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator(file), {}};
        if (!file)
        {
            std::fprintf(stderr, "%s can't be read\n", input.c_str());
            return 1;
        }
        std::fprintf(stderr, "%s\n", input.c_str());
        const std::vector<uint8_t> exact(bytes.begin(), bytes.end());
        LLVMFuzzerTestOneInput(exact.data(), exact.size());
    }
    if (inputs.empty())
    {
        std::fprintf(stderr, "no inputs\n");
        return 1;
    }
    return 0;
}
