#include "tool/discard.h"

#include "qz/vrxclient.h"
#include "tool/record.h"

namespace tool {

void Discard(Store* store, unsigned number) {
  if (const auto record = store->ReadRecord(number)) VRXClient_Delete(ReadRecord(*record).release());
  store->Remove(number);
}

}  // namespace tool
