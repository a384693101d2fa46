// A fresh folder for one test, made the current folder (Log blocks write relative names there)
// and removed with everything in it afterwards.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace tarvo::test {

inline std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

class TempDir {
  public:
    TempDir() {
        std::string pattern = std::filesystem::temp_directory_path() / "tarvo-host-XXXXXX";
        path_ = ::mkdtemp(pattern.data());
        std::filesystem::current_path(path_);
    }
    ~TempDir() {
        std::filesystem::current_path(previous_);
        std::filesystem::remove_all(path_);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }
    void Write(const std::string& name, const std::string& text) const {
        std::ofstream(File(name), std::ios::binary) << text;
    }
    std::string Read(const std::string& name) const { return ReadText(File(name)); }
    // The names in the folder, sorted: shows what a save left behind.
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

  private:
    const std::filesystem::path previous_ = std::filesystem::current_path();
    std::string path_;
};

}  // namespace tarvo::test
