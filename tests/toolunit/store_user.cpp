// A second program on the saved transfers of $QZ_TRANSFERS. It does one thing, writes one line to FILE about
// it, and keeps what it has until FILE.leave or FILE.die stands there: then it ends, or ends as if it was
// killed.
//
//   store_user FILE take N              "taken" or "refused"
//   store_user FILE create URL PATH     "created N" or "found N"
//   store_user FILE save URL PATH       the same, saved when it was created
//   store_user FILE open                "opened"
//   store_user FILE many COUNT PREFIX   creates and saves transfers to /PREFIX-0 and so on; "done"; ends
//   store_user FILE rewrite N COUNT     takes N and saves it again and again, with different sizes; "done";
//   ends
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "qz/os.h"
#include "tool/store.h"

namespace {

constexpr int kLongestLifeSeconds = 60;

void Tell(const std::string& file, const std::string& line) {
  const std::string unfinished = file + ".unfinished";
  std::ofstream(unfinished) << line << "\n";
  std::rename(unfinished.c_str(), file.c_str());
}

void WaitForEnd(const std::string& file) {
  for (int i = 0; i < kLongestLifeSeconds * 100; ++i) {
    if (std::ifstream(file + ".leave").is_open()) return;
    if (std::ifstream(file + ".die").is_open()) std::_Exit(0);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

std::string Create(tool::Store* store, const std::string& url, const std::string& path, bool isSaved,
                   std::unique_ptr<tool::Claim>* claim) {
  std::optional<tool::SavedTransfer> found;
  *claim = store->Create(false, url, path, &found);
  if (found) return "found " + std::to_string(found->number);
  if (isSaved) {
    tool::SavedTransfer transfer;
    transfer.number = (*claim)->Number();
    transfer.url = url;
    transfer.localPath = path;
    store->Save(transfer, "a record");
  }
  return "created " + std::to_string((*claim)->Number());
}

void CreateMany(tool::Store* store, int count, const std::string& prefix) {
  for (int i = 0; i < count; ++i) {
    std::unique_ptr<tool::Claim> claim;
    Create(store, "http://a.example/", "/" + prefix + "-" + std::to_string(i), true, &claim);
  }
}

bool Rewrite(tool::Store* store, unsigned number, int count) {
  const auto claim = store->Take(number);
  std::optional<tool::SavedTransfer> transfer = store->Find(number);
  if (!claim || !transfer) return false;
  for (int i = 0; i < count; ++i) {
    transfer->doneBytes = static_cast<unsigned>(i);
    store->Save(*transfer, "record " + std::to_string(i));
  }
  return true;
}

int Run(const std::string& file, const std::string& action, char** rest) {
  tool::Store store;
  std::unique_ptr<tool::Claim> claim;
  if (action == "many") {
    CreateMany(&store, std::atoi(rest[0]), rest[1]);
    Tell(file, "done");
    return 0;
  }
  if (action == "rewrite") {
    Tell(file,
         Rewrite(&store, static_cast<unsigned>(std::atoi(rest[0])), std::atoi(rest[1])) ? "done" : "refused");
    return 0;
  }
  if (action == "take") {
    claim = store.Take(static_cast<unsigned>(std::atoi(rest[0])));
    Tell(file, claim ? "taken" : "refused");
  } else if (action == "open") {
    Tell(file, "opened");
  } else {
    Tell(file, Create(&store, rest[0], rest[1], action == "save", &claim));
  }
  WaitForEnd(file);
  return 0;
}

}  // namespace

int main(int count, char** words) {
  if (count < 3 || OS_Init("qzstoreuser", OSInitCode_End) != 0) return 2;
  const int code = Run(words[1], words[2], words + 3);
  OS_Exit(0);
  return code;
}
