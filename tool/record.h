// The library's records of transfers as bytes.
#ifndef TOOL_RECORD_H
#define TOOL_RECORD_H

#include <memory>
#include <string>

#include "qz/vrxclient.h"

namespace tool {

struct CloseTransfer {
  void operator()(VRXClient* client) const { VRXClient_Close(client); }
};
using OwnedTransfer = std::unique_ptr<VRXClient, CloseTransfer>;

// Throws Failure (Other) when memory runs out.
std::string WriteRecord(VRXClient* client);

// Reads a transfer without callbacks. Throws Failure (Other) that says why it cannot be read: damaged, of a
// newer version, of an extension that is missing.
OwnedTransfer ReadRecord(const std::string& bytes);

}  // namespace tool

#endif
