// Transfers that no test lets run: what an application makes of them, and the files that belong to them.
#pragma once

#include <string>

#include "tests/transfer/vrxclient_fixture.h"

class TransferObject : public TransferTest {
 protected:
  ErrorCode New(const std::string& url, Transfer* transfer) {
    transfer->Close();
    return VRXClient_NewDownload(url.c_str(), directory_.Name("file").c_str(), heard_.userData(), &kHearing,
                                 transfer->out());
  }
  ErrorCode NewUpload(const std::string& name, const char* url, Transfer* transfer) {
    transfer->Close();
    return VRXClient_NewUpload(directory_.Name(name).c_str(), url, heard_.userData(), &kHearing,
                               transfer->out());
  }
  // The file that the library would make for a data file.
  void MakeFile(const std::string& path, const std::string& bytes = "data") {
    File* file = nullptr;
    ASSERT_EQ(File_Open(path.c_str(), FileMode_Write, &file), Error_None);
    File_Write(file, static_cast<uint32_t>(bytes.size()), bytes.data());
    File_Close(file);
  }
  static bool Exists(const std::string& path) { return File_Exists(path.c_str(), nullptr) != 0; }
};

inline std::string URLOf(size_t size) {
  const std::string beginning = "ftp://a/";
  return beginning + std::string(size - beginning.size(), 'x');
}
