// Runs the program that loads extensions in a folder of its own, with the extensions that a test puts there.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "qz/error.h"
#include "qz/process.h"
#include "tests/support/child_program.h"
#include "tests/support/environment.h"

class AgentHost {
 public:
  // extensions: by the names of their files, without the suffix.
  explicit AgentHost(const std::vector<std::string>& extensions) {
    for (const char* file : {"host", "host.exe"}) CopyIfThere(kBuild / "extensions" / file, file);
    CopyIfThere(kBuild / "qz.dll", "qz.dll");
    for (const std::string& name : extensions) Write(name + ".AXT", Library(name));
  }

  // What the program writes; file: in the folder.
  std::string Run(const std::string& action = "", const std::string& file = "",
                  const std::string& url = "") const {
    const std::filesystem::path report = folder_.Path() / "report";
    std::string command = "host \"" + report.string() + "\"";
    if (!action.empty()) command += " " + action + " \"" + folder_.Name(file) + "\" " + url;
    Process* process = nullptr;
    const bool isWindows = std::filesystem::exists(folder_.Path() / "host.exe");
    const std::string program = folder_.Name(isWindows ? "host.exe" : "host");
    EXPECT_EQ(Process_Launch(program.c_str(), command.c_str(), nullptr, &process), Error_None);
    EXPECT_TRUE(EndsWithinTenSeconds(process));
    Process_Detach(process);
    std::string text = Read("report");
    std::erase(text, '\r');
    return text;
  }

  // The bytes of an extension that was built.
  std::string Library(const std::string& name) const {
    return BytesOf(kBuild / "extensions" / (name + ".AXT"));
  }
  // Where the two bytes stand that name the machine of a library.
  static size_t MachineField(const std::string& bytes) {
    if (bytes.substr(0, 4) ==
        "\x7F"
        "ELF")
      return 18;
    const size_t header =
        static_cast<unsigned char>(bytes.at(0x3C)) + 256u * static_cast<unsigned char>(bytes.at(0x3D));
    EXPECT_EQ(bytes.substr(header, 4), std::string("PE\0\0", 4));
    return header + 4;
  }

  void Write(const std::string& name, const std::string& bytes) const {
    std::ofstream(folder_.Path() / name, std::ios::binary) << bytes;
  }
  std::string Read(const std::string& name) const { return BytesOf(folder_.Path() / name); }
  std::filesystem::path Path(const std::string& name) const { return folder_.Path() / name; }
  void Remove(const std::string& name) const { std::filesystem::remove(folder_.Path() / name); }
  void MakeDirectory(const std::string& name) const {
    std::filesystem::create_directory(folder_.Path() / name);
  }

 private:
  static std::string BytesOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void CopyIfThere(const std::filesystem::path& file, const char* name) const {
    if (std::filesystem::exists(file)) std::filesystem::copy_file(file, folder_.Path() / name);
  }

  const std::filesystem::path kBuild = ProgramPath().parent_path();
  TemporaryFolder folder_;
};
