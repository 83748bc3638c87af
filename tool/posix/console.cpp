// The terminal and the process on POSIX systems.
#include "tool/console.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "tool/failure.h"

namespace tool::console {
namespace {

constexpr unsigned kColumnsWhenUnknown = 80;
constexpr unsigned kRowsWhenUnknown = 24;
constexpr std::size_t kLongestPath = 4096;

volatile sig_atomic_t interrupted = 0;
volatile sig_atomic_t insideBlockingCall = 0;
volatile sig_atomic_t removalArmed = 0;
char removalPath[kLongestPath];
const char* volatile interruptHint = "";

void ExitNow() {
  static const char text[] = "\nqz: interrupted";
  if (removalArmed != 0) unlink(removalPath);
  (void)!write(STDERR_FILENO, text, sizeof text - 1);
  (void)!write(STDERR_FILENO, interruptHint, std::strlen(interruptHint));
  (void)!write(STDERR_FILENO, "\n", 1);
  _exit(static_cast<int>(ExitCode::Interrupted));
}

// The next file or connection would get the descriptor of a closed standard stream, and messages or a listing
// would be written into it. The replacement fails reads or writes just as a closed stream does.
void FillClosedStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; descriptor++) {
    if (fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF) continue;
    if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) != descriptor) std::abort();
  }
}

void OnInterrupt(int) {
  const int savedError = errno;
  if (interrupted != 0 || insideBlockingCall != 0) ExitNow();
  interrupted = 1;
  errno = savedError;
}

int DescriptorOf(Channel channel) {
  return channel == Channel::Output ? STDOUT_FILENO : STDERR_FILENO;
}

bool TerminalIsDumb() {
  const char* kind = std::getenv("TERM");
  return kind == nullptr || *kind == '\0' || std::strcmp(kind, "dumb") == 0;
}

// The controlling terminal with echo off, whatever standard input is connected to.
class HiddenTerminal {
 public:
  HiddenTerminal() : descriptor_(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (descriptor_ < 0) return;
    if (tcgetattr(descriptor_, &saved_) != 0) {
      close(descriptor_);
      descriptor_ = -1;
      return;
    }
    termios hidden = saved_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(descriptor_, TCSAFLUSH, &hidden);
  }
  ~HiddenTerminal() {
    if (descriptor_ < 0) return;
    tcsetattr(descriptor_, TCSAFLUSH, &saved_);
    close(descriptor_);
  }
  HiddenTerminal(const HiddenTerminal&) = delete;
  HiddenTerminal& operator=(const HiddenTerminal&) = delete;

  bool IsOpen() const { return descriptor_ >= 0; }
  void Show(const std::string& text) const { (void)!write(descriptor_, text.data(), text.size()); }
  // One byte; false at the end of input. Ctrl-C ends the wait.
  bool ReadByte(char* byte) const {
    for (;;) {
      if (Interrupted()) throw Interruption{};
      const ssize_t count = read(descriptor_, byte, 1);
      if (count == 1) return true;
      if (count == 0 || errno != EINTR) return false;
    }
  }

 private:
  int descriptor_;
  termios saved_{};
};

}  // namespace

void Prepare() {
  FillClosedStreams();
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  // No SA_RESTART: a read from the keyboard has to end.
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // A terminal that is closed ends the program like Ctrl-C, unless nohup says otherwise.
  struct sigaction hangUp {};
  if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN)
    sigaction(SIGHUP, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

bool IsTerminal(Channel channel) {
  return isatty(DescriptorOf(channel)) == 1 && !TerminalIsDumb();
}

bool HasColour(Channel channel) {
  const char* refused = std::getenv("NO_COLOR");
  return IsTerminal(channel) && (refused == nullptr || *refused == '\0');
}

unsigned Columns() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kColumnsWhenUnknown;
  return size.ws_col;
}

unsigned Rows() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0) return kRowsWhenUnknown;
  return size.ws_row;
}

bool CanMoveCursor() {
  return IsTerminal(Channel::Messages);
}

bool Write(Channel channel, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = write(DescriptorOf(channel), bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0 && errno == EPIPE) return true;
    if (written <= 0) return false;
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

bool Draw(const ScreenUpdate& update) {
  std::string bytes;
  if (update.linesUp > 0) bytes += "\x1b[" + std::to_string(update.linesUp) + "A\r";
  if (update.erasesBelow) bytes += "\x1b[J";
  bytes += update.text;
  return Write(Channel::Messages, bytes.data(), bytes.size());
}

std::optional<std::string> AskHidden(const std::string& question) {
  const HiddenTerminal terminal;
  if (!terminal.IsOpen()) return std::nullopt;
  terminal.Show(question);
  std::string answer;
  char byte = 0;
  bool typed = false;
  while ((typed = terminal.ReadByte(&byte)) && byte != '\n') answer.push_back(byte);
  terminal.Show("\n");
  if (!typed && answer.empty()) return std::nullopt;
  return answer;
}

bool Interrupted() {
  return interrupted != 0;
}

void Pause(unsigned milliseconds) {
  // A signal between the test and the wait would be noticed one slice later.
  constexpr unsigned kSliceMilliseconds = 100;
  while (milliseconds > 0 && !Interrupted()) {
    const unsigned slice = milliseconds < kSliceMilliseconds ? milliseconds : kSliceMilliseconds;
    poll(nullptr, 0, static_cast<int>(slice));
    milliseconds -= slice;
  }
}

BlockingCall::BlockingCall() {
  insideBlockingCall = 1;
  if (!Interrupted()) return;
  insideBlockingCall = 0;
  throw Interruption{};
}

BlockingCall::~BlockingCall() {
  insideBlockingCall = 0;
}

void SetInterruptHint(const char* hint) {
  interruptHint = hint;
}

void RemoveOnInterrupt(const std::string& path) {
  removalArmed = 0;
  if (path.empty() || path.size() >= sizeof removalPath) return;
  std::memcpy(removalPath, path.c_str(), path.size() + 1);
  removalArmed = 1;
}

std::string ToLibraryName(const std::string& systemName) {
  return systemName;
}
std::string ToSystemName(const std::string& libraryName) {
  return libraryName;
}

bool HasDrives() {
  return false;
}

void ExitInterrupted() {
  ExitNow();
  std::abort();
}

}  // namespace tool::console
