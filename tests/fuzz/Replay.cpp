// Runs a target once for each file, and for each file in a folder, without libFuzzer. A file or folder that does not
// exist is an error, and so is an empty folder, so that no input is skipped unnoticed. One thread.
//
//   replay-TARGET FILE|FOLDER...
#include "Fuzz.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace
{

using Paths = std::vector<std::filesystem::path>;

Paths FilesOf(const std::filesystem::path& path)
{
    Paths files;
    if (std::filesystem::is_directory(path))
    {
        std::filesystem::directory_iterator entries(path);
        std::copy(begin(entries), end(entries), std::back_inserter(files));
        std::sort(files.begin(), files.end());
    }
    else
    {
        files.push_back(path);
    }
    return files;
}

bool Replay(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream || !std::filesystem::is_regular_file(path))
    {
        std::cerr << path << ": cannot be read\n";
        return false;
    }
    const std::string octets((std::istreambuf_iterator<char>(stream)), {});
    std::cout << path.filename().string() << ", " << octets.size() << " octets"
              << std::endl; // before the target may crash
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(octets.data()), octets.size());
    return true;
}

} // namespace

int main(int count, char** arguments)
{
    std::size_t replayed = 0;
    for (const std::string& argument : std::vector<std::string>(arguments + 1, arguments + count))
    {
        const Paths files = FilesOf(argument);
        if (files.empty())
        {
            std::cerr << argument << ": holds no file\n";
            return EXIT_FAILURE;
        }
        if (!std::all_of(files.begin(), files.end(), Replay))
        {
            return EXIT_FAILURE;
        }
        replayed += files.size();
    }
    std::cout << replayed << " inputs, no crash\n";
    return replayed > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
