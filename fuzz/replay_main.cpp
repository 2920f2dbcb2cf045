// Replays a fuzz target's corpus as an ordinary test: every file of the folder
// given on the command line goes through LLVMFuzzerTestOneInput once. A target
// crashes (and so fails the test) on anything it does not expect.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    if (argc != 2 || !std::filesystem::is_directory(argv[1])) {
        std::cerr << "usage: " << argv[0] << " CORPUS_DIR\n";
        return 2;
    }
    int replayed = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        if (!entry.is_regular_file()) {
            continue;
        }
        std::ifstream in(entry.path(), std::ios::binary);
        const std::vector<std::uint8_t> input((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(input.data(), input.size());
        ++replayed;
    }
    if (replayed == 0) {
        std::cerr << "no inputs in " << argv[1] << '\n';
        return 1;
    }
    std::cout << replayed << " passed, 0 failed\n";
    return 0;
}
