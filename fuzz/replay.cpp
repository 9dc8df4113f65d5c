// Runs a fuzz target once with each input of its corpus, without a fuzzer: replay_NAME FOLDER...
//
// A broken promise ends the process; the name of the input is printed before.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv)
{
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i)
        for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
            inputs.push_back(entry.path());
    std::sort(inputs.begin(), inputs.end());
    bool all_read = !inputs.empty();
    for (const auto& input : inputs)
    {
        std::fprintf(stderr, "%s\n", input.c_str());
        std::ifstream file(input, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator(file), {}};
        // Without the room beyond that reading has left.
        const std::vector<uint8_t> exact(bytes.begin(), bytes.end());
        LLVMFuzzerTestOneInput(exact.data(), exact.size());
        all_read &= static_cast<bool>(file);
    }
    if (!all_read)
        std::fprintf(stderr, "no inputs, or one can't be read\n");
    return all_read ? 0 : 1;
}
