// Whatever a server sends as status line and headers: bounded, and the body begins behind a line end.
#include <cstdlib>
#include <cstring>

#include "net/httpc_testing.h"
#include "qz/error.h"
#include "tests/support/test_stream.h"

namespace {

void Require(bool holds) {
  if (!holds) abort();
}

// Every value that came can be asked for, and is a text that ends within its slot or a number.
void AskForEverything(HTTPc* connection) {
  for (int32_t index = 0; index <= 10; ++index) {
    char buffer[256];
    uint32_t length = 0;
    const ErrorCode status = HTTPc_GetAttribute(connection, index, sizeof buffer, &length, buffer);
    Require(status == Error_None || status == Error_NotFound || status == Error_Invalid);
    Require(length < sizeof buffer);
    const bool isNumber = index == HTTPcResponse_Date || index == HTTPcResponse_LastModified ||
                          index == HTTPcResponse_ContentLength || index == HTTPcResponse_ContentRange;
    Require(status != Error_None || isNumber || strlen(buffer) == length);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  TestStream input(bytes);
  HTTPc* connection = iHTTPc_New();
  Require(connection != nullptr);
  connection->stream = input.stream();

  Reply reply = {};
  Stream* body = nullptr;
  const ErrorCode status = HTTPc_Get(connection, "http://h/", &reply, &body);
  if (status == Error_None) {
    const size_t consumed = size - input.Rest().size();
    Require(consumed > 0 && bytes[consumed - 1] == '\n');
    Require(body == input.stream() && (connection->response.set & 1) != 0);
  } else {
    Require(status == Error_Invalid || status == Error_Exceed || status == Error_Ended);
    Require(body == nullptr && reply.code == 0 && reply.text[0] == 0);
  }
  AskForEverything(connection);
  HTTPc_Close(connection);
  return 0;
}
