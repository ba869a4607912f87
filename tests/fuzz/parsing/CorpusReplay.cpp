// Runs each file of the folders named on the command line through the fuzz entry point, so that a build
// without libFuzzer keeps the target compiling and its seeds passing. Fails when no input was found.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "RecordItemFuzzTarget.h"

int main(int argc, char** argv) {
    int inputs = 0;
    for (int folder = 1; folder < argc; ++folder) {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(argv[folder], error)) {
            if (!entry.is_regular_file()) continue;
            std::ifstream file(entry.path(), std::ios::binary);
            std::ostringstream bytes;
            bytes << file.rdbuf();
            const std::string input = bytes.str();
            FuzzRecordItem(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
            ++inputs;
        }
    }
    std::cout << "replayed " << inputs << " inputs\n";
    return inputs > 0 ? 0 : 1;
}
