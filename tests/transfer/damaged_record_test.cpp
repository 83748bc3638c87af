// What a damaged record can do: it is cut at every byte, and every bit of it is flipped. It is read or
// refused; what is refused changes no file. Whatever is read and deleted, at every path that the damaged
// record has stands a file of somebody else, and nothing of that is touched but what has a name of the
// library's making.
#include <map>

#include "os/core/owned.h"
#include "qz/string.h"
#include "tests/support/file_system.h"
#include "tests/transfer/transfer_trace.h"
#include "transfer/vrxclient_internal.h"

namespace transfer {
namespace {

constexpr char kPrecious[] = "precious";

class DamagedRecord : public TransferTest {
 protected:
  using Files = std::map<std::string, std::string>;  // paths in the library's form, and bytes

  std::string Record() const { return cache_ + "/record"; }

  // ---- files, by the library's names, which may have any bytes

  static bool MakeFile(const std::string& path, const std::string& bytes) {
    Owned<File, File_Close> file;
    if (File_Open(path.c_str(), FileMode_Write, file.out()) != Error_None) return false;
    const auto count = static_cast<uint32_t>(bytes.size());
    return File_Write(file.get(), count, bytes.data()) == count;
  }
  static std::string BytesOf(const std::string& path) {
    Owned<File, File_Close> file;
    if (File_Open(path.c_str(), FileMode_Read, file.out()) != Error_None) return "no file";
    char bytes[64];
    return {bytes, File_Read(file.get(), sizeof bytes, bytes)};
  }
  static void MakeFiles(const Files& files) {
    for (const auto& [path, bytes] : files) ASSERT_TRUE(MakeFile(path, bytes)) << path;
  }
  static void ExpectFiles(const Files& files) {
    for (const auto& [path, bytes] : files) EXPECT_EQ(BytesOf(path), bytes) << path;
  }
  void RemoveAllOfOut() const {
    for (const auto& entry : std::filesystem::directory_iterator(SystemPath(out_)))
      std::filesystem::remove_all(entry.path());
  }

  // ---- names

  static std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }
  static bool AreDigits(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
  }
  // vrxData1 and info1 in the cache folder, anything.part in the folder of the target.
  bool IsOfOwnMaking(const std::string& path, const std::string& target) const {
    const std::string name = path.substr(path.rfind('/') + 1);
    if (FolderOf(path) == FolderOf(target) && name.ends_with(".part")) return true;
    if (FolderOf(path) != cache_ + "/") return false;
    return (name.starts_with("vrxData") && AreDigits(name.substr(7))) ||
           (name.starts_with("info") && AreDigits(name.substr(4)));
  }

  // Makes a file at each path of the record where nothing stands. Gives those that nobody may touch.
  Files PlantAtPaths() const {
    VRXClientData data{};
    iVRXClient_InitRecord(&data);
    const ErrorCode status = WithRecord(
        Record(), true, [&](Traverse* traverse) { return iVRXClient_ReadRecord(traverse, &data); });
    const std::string target = data.localPath;
    Files planted;
    for (const std::string& path : {std::string(data.dataPath), std::string(data.logPath), target,
                                    FolderOf(target) + data.serverFileName}) {
      const bool isInside = status == Error_None && path.starts_with(cache_ + "/") && path.back() != '/';
      if (!isInside || File_Exists(path.c_str(), nullptr) != 0 || !MakeFile(path, kPrecious)) continue;
      if (!IsOfOwnMaking(path, target)) planted[path] = kPrecious;
    }
    iVRXClient_FreeRecord(&data, 0);
    return planted;
  }

  // ---- the sweeps

  // Works as far as no server is asked.
  static void WorkAlone(TracedTransfer* transfer) {
    for (int i = 0; i < 20; ++i) {
      const bool asksServer = transfer->State() >= 2 && transfer->State() < 12;
      if (asksServer || transfer->Idle() >= VRXClientResult_Postponed) return;
    }
  }

  bool ReadsAndDeletes(const std::string& damaged, const Files& kept) {
    MakeFiles(kept);
    WriteFile(SystemPath(Record()), damaged);
    const Files planted = PlantAtPaths();
    plantedFiles_ += planted.size();
    TracedTransfer transfer(&names_);
    const bool isRead = transfer.Read(Record()) == Error_None;
    if (isRead) {
      WorkAlone(&transfer);
      transfer.Delete();
    } else {
      ExpectFiles(kept);
    }
    EXPECT_TRUE(ReadFile(SystemPath(Record())) == damaged);
    ExpectFiles(planted);
    for (const auto& [path, bytes] : planted) File_Unlink(path.c_str());
    RemoveAllOfOut();
    return isRead;
  }

  // kept: the files that belong to the transfer.
  void DamageEverywhere(TracedTransfer* transfer, const Files& kept) {
    ASSERT_EQ(transfer->Write(Record()), Error_None);
    transfer->Close();
    const std::string record = ReadFile(SystemPath(Record()));
    ASSERT_TRUE(ReadsAndDeletes(record, kept));
    for (size_t length = 0; length < record.size() && !HasFailure(); ++length) {
      SCOPED_TRACE("cut at " + std::to_string(length));
      EXPECT_FALSE(ReadsAndDeletes(record.substr(0, length), kept));
    }
    size_t read = 0;
    plantedFiles_ = 0;
    for (size_t bit = 0; bit < record.size() * 8 && !HasFailure(); bit += kBitStep) {
      SCOPED_TRACE("bit " + std::to_string(bit));
      std::string damaged = record;
      damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
      if (ReadsAndDeletes(damaged, kept)) ++read;
    }
    EXPECT_GT(read, record.size());
    EXPECT_GT(plantedFiles_, 20u);
  }

  // Files take longer under Wine.
  const size_t kBitStep = kIsWindows ? 5 : 1;
  size_t plantedFiles_ = 0;
};

TEST_F(DamagedRecord, OfADownload_TouchesNothingOfOthers) {
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  download->RunToState(2);
  ASSERT_EQ(download->Write(Record()), Error_None);
  VRXClient* client = *download;
  const std::string log = cache_ + "/info77";
  String_CopyMax(log.c_str(), sizeof client->data.logPath, client->data.logPath);
  DamageEverywhere(download.get(), {{client->data.dataPath, "abcd"}, {log, "log"}});
}

TEST_F(DamagedRecord, OfACompleteDownload_TouchesNothingOfOthers) {
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  ASSERT_EQ(VRXClient_SetDataFilePath(*download, Out("file.bin.part").c_str()), Error_None);
  VRXClient* client = *download;
  client->data.size = 4;
  client->data.state = TransferState::Finish;
  DamageEverywhere(download.get(), {{Out("file.bin.part"), "abcd"}});
}

// A program was killed while it copied the data to another volume.
TEST_F(DamagedRecord, OfAnInterruptedCopy_TouchesNothingOfOthers) {
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  download->RunToState(2);
  ASSERT_EQ(download->Write(Record()), Error_None);
  VRXClient* client = *download;
  client->data.size = 4;
  client->data.state = TransferState::Finish;
  String_CopyMax("file.bin(0).part", sizeof client->data.serverFileName, client->data.serverFileName);
  DamageEverywhere(download.get(), {{client->data.dataPath, "abcd"}, {Out("file.bin(0).part"), "ab"}});
}

TEST_F(DamagedRecord, OfAnUpload_TouchesNothingOfOthers) {
  ASSERT_TRUE(MakeFile(cache_ + "/source", "abcd"));
  TracedTransfer upload(&names_);
  ASSERT_EQ(upload.Upload(cache_ + "/source", "ftp://127.0.0.1:1/pub/"), Error_None);
  upload.RunToState(2);
  DamageEverywhere(&upload, {{cache_ + "/source", "abcd"}, {upload.DataPath(), "abcd"}});
}

}  // namespace
}  // namespace transfer
