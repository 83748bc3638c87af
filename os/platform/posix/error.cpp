// The one table that turns this system's error numbers into the library's common numbering.
#include "os/platform/error.h"

#include <cerrno>
#include <cstddef>

namespace platform {
namespace {

struct Row {
  int native;
  uint32_t common;
};

constexpr Row kSystemErrors[] = {
    {ENOENT, 2},   {ENOTDIR, 3},     {EACCES, 5},   {EPERM, 5},   {EROFS, 5},    {EBUSY, 32},
    {ETXTBSY, 32}, {ENOSPC, 112},    {EDQUOT, 112}, {EFBIG, 112}, {EINVAL, 123}, {ENAMETOOLONG, 123},
    {EEXIST, 183}, {ENOTEMPTY, 145}, {EXDEV, 17},   {EMFILE, 4},  {ENFILE, 4},   {ENOMEM, 8},
};

constexpr Row kSocketErrors[] = {
    {EINTR, 10004},     {EBADF, 10038},        {ENOTSOCK, 10038},     {EACCES, 10013},
    {EFAULT, 10014},    {EINVAL, 10022},       {EMFILE, 10024},       {ENFILE, 10024},
    {EAGAIN, 10035},    {EINPROGRESS, 10035},  {EADDRINUSE, 10048},   {EADDRNOTAVAIL, 10049},
    {ENETDOWN, 10050},  {ENETUNREACH, 10051},  {ECONNABORTED, 10053}, {ECONNRESET, 10054},
    {EPIPE, 10054},     {ENOBUFS, 10055},      {ENOMEM, 10055},       {EISCONN, 10056},
    {ENOTCONN, 10057},  {ESHUTDOWN, 10058},    {ETIMEDOUT, 10060},    {ECONNREFUSED, 10061},
    {EHOSTDOWN, 10064}, {EHOSTUNREACH, 10065},
};

// A number outside the table must not be mistaken for one of the common numbering.
constexpr uint32_t kUnknown = 0x80000000u;

template <size_t count>
uint32_t Translate(const Row (&table)[count], int native) {
  if (native == 0) return 0;
  for (const Row& row : table) {
    if (row.native == native) return row.common;
  }
  return kUnknown | static_cast<uint32_t>(native);
}

}  // namespace

uint32_t LastSystemError() {
  return Translate(kSystemErrors, errno);
}

uint32_t LastSocketError() {
  return Translate(kSocketErrors, errno);
}

}  // namespace platform
