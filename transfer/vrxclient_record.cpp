// The persistent form of a transfer (docs/formats.md), described once for reading and writing:
//
//   "vrxc" | version | created | size | declared size | server file name | reserved | upload flag
//   state | edit flags | agents | servers | source time | user | password | data path | log path
//   name | local path | elapsed | 64-bit size | 64-bit declared size
//
// Version 9 has the last two fields, for sizes that 32 bits do not hold; what they hold is written as version
// 8, so that programs of before read it.
#include "os/core/memory_internal.h"
#include "transfer/vrxclient_internal.h"
#include "traverse/traverse_internal.h"

namespace {

constexpr uint32_t kTag = 0x63787276;  // "vrxc"
constexpr uint32_t kNewestVersion = 9;

// The first version that has a field.
constexpr uint32_t kHasNames = 2;
constexpr uint32_t kHasState = 3;
constexpr uint32_t kHasServerList = 4;
constexpr uint32_t kHasDeclaredSize = 5;
constexpr uint32_t kHasSourceTime = 6;
constexpr uint32_t kHasElapsed = 7;
constexpr uint32_t kHasServerFileName = 8;
constexpr uint32_t kHasWideSizes = 9;

constexpr auto kLastState = static_cast<uint32_t>(TransferState::Completed);

struct RecordForm {
  VRXClientData* data;
  uint32_t tag;
  uint32_t version;
  bool isWithoutPasswords;
};

bool IsReading(const Traverse* traverse) {
  return Traverse_GetMode(traverse) == TraverseMode_Read;
}

// A record from elsewhere may lack the terminator.
template <size_t Size>
void DescribeText(Traverse* traverse, char (&text)[Size]) {
  Traverse_String(traverse, Size, text);
  if (IsReading(traverse)) text[Size - 1] = '\0';
}

void DescribeNarrowSize(Traverse* traverse, uint64_t* size) {
  uint32_t narrow = iVRXClient_Narrow(*size);
  Traverse_Uns32(traverse, &narrow);
  if (IsReading(traverse)) *size = iVRXClient_Widen(narrow);
}

void DescribeWideSize(Traverse* traverse, uint64_t* size) {
  auto low = static_cast<uint32_t>(*size);
  auto high = static_cast<uint32_t>(*size >> 32);
  Traverse_Uns32(traverse, &low);
  Traverse_Uns32(traverse, &high);
  if (IsReading(traverse)) *size = uint64_t{high} << 32 | low;
}

void DescribeVersion(Traverse* traverse, RecordForm* form) {
  Traverse_Tag(traverse, kTag, &form->tag);
  Traverse_Version(traverse, kNewestVersion, &form->version);
  if (!iTraverse_IsStopped(*traverse) && form->version == 0) Traverse_SetError(traverse, Error_NotFound);
}

void DescribeSizes(Traverse* traverse, uint32_t version, VRXClientData* data) {
  DescribeNarrowSize(traverse, &data->size);
  if (version >= kHasDeclaredSize) {
    DescribeNarrowSize(traverse, &data->declaredSize);
  } else {
    data->declaredSize = data->size;
  }
}

void DescribeFlags(Traverse* traverse, VRXClientData* data) {
  Traverse_Uns8(traverse, &data->reserved);
  Traverse_Uns8(traverse, &data->isUpload);
  if (IsReading(traverse) && data->isUpload != 0) data->isUpload = 1;
}

void DescribeState(Traverse* traverse, uint32_t version, VRXClientData* data) {
  if (version < kHasState) {
    data->state = TransferState::SelectServer;
    data->editFlags = data->isUpload != 0 ? kUploadEditFlags : kDownloadEditFlags;
    return;
  }
  auto state = static_cast<uint32_t>(data->state);
  Traverse_Uns32(traverse, &state);
  if (IsReading(traverse)) data->state = static_cast<TransferState>(state > kLastState ? 0 : state);
  Traverse_Uns32(traverse, &data->editFlags);
  iAgentList_Describe(traverse, &data->agents, version >= kHasElapsed);
}

// Before there were lists: one URL. Only read, as what is written has a list.
void DescribeOneServer(Traverse* traverse, ServerList* servers) {
  char url[kURLSize] = "";
  DescribeText(traverse, url);
  if (iTraverse_IsStopped(*traverse) || !IsReading(traverse)) return;
  const ErrorCode status = iServerList_New(url, servers);
  if (status != Error_None) Traverse_SetError(traverse, status == Error_Exceed ? Error_Invalid : status);
}

void DescribeLogin(Traverse* traverse, const RecordForm& form) {
  DescribeText(traverse, form.data->user);
  char none[kUserSize] = "";
  const bool isLeftOut = form.isWithoutPasswords && Traverse_GetMode(traverse) == TraverseMode_Write;
  DescribeText(traverse, isLeftOut ? none : form.data->password);
}

void DescribeTransfer(Traverse* traverse, void* argument) {
  auto* form = static_cast<RecordForm*>(argument);
  VRXClientData* data = form->data;
  DescribeVersion(traverse, form);
  const uint32_t version = form->version;
  Traverse_Time(traverse, &data->created);
  DescribeSizes(traverse, version, data);
  if (version >= kHasServerFileName) DescribeText(traverse, data->serverFileName);
  DescribeFlags(traverse, data);
  DescribeState(traverse, version, data);
  if (version >= kHasServerList) {
    iServerList_Describe(traverse, &data->servers, form->isWithoutPasswords);
  } else {
    DescribeOneServer(traverse, &data->servers);
  }
  if (version >= kHasSourceTime) Traverse_Time(traverse, &data->sourceTime);
  DescribeLogin(traverse, *form);
  DescribeText(traverse, data->dataPath);
  DescribeText(traverse, data->logPath);
  if (version >= kHasNames) DescribeText(traverse, data->name);
  if (version >= kHasNames) DescribeText(traverse, data->localPath);
  if (version >= kHasElapsed) Traverse_Uns32(traverse, &data->elapsedMilliseconds);
  if (version >= kHasWideSizes) DescribeWideSize(traverse, &data->size);
  if (version >= kHasWideSizes) DescribeWideSize(traverse, &data->declaredSize);
}

bool FitsThirtyTwoBits(uint64_t size) {
  return iVRXClient_Widen(iVRXClient_Narrow(size)) == size;
}

uint32_t VersionToWrite(const VRXClientData& data) {
  return FitsThirtyTwoBits(data.size) && FitsThirtyTwoBits(data.declaredSize) ? kHasServerFileName
                                                                              : kHasWideSizes;
}

}  // namespace

void iVRXClient_InitRecord(VRXClientData* data) {
  RecordForm form = {data, kTag, kHasServerFileName, false};
  Traverse_DataInit(nullptr, DescribeTransfer, &form);
  data->size = kSizeUnknown;
  data->declaredSize = 0;
  data->state = TransferState::SelectServer;
}

ErrorCode iVRXClient_ReadRecord(Traverse* traverse, VRXClientData* data) {
  RecordForm form = {data, kTag, kNewestVersion, false};
  const ErrorCode status = Traverse_DataRead(traverse, DescribeTransfer, &form);
  // A text that fills its field is read whole.
  return status == Error_Exceed ? ErrorCode{Error_None} : status;
}

ErrorCode iVRXClient_WriteRecord(Traverse* traverse, VRXClientData* data, bool isWithoutPasswords) {
  RecordForm form = {data, kTag, VersionToWrite(*data), isWithoutPasswords};
  return Traverse_DataWrite(traverse, DescribeTransfer, &form);
}

void iVRXClient_FreeRecord(VRXClientData* data, int32_t isForever) {
  iAgentList_DeleteAll(&data->agents, isForever);
  iServerList_Delete(&data->servers);
}
