#include "tool/download.h"

#include <algorithm>
#include <chrono>

#include "tool/console.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr unsigned kLongestWaitSeconds = 60;

void ReportPart(const PartFile& part, const std::string& what, Reporter* reporter) {
  if (!part.Exists() || part.Length() == 0) return;
  reporter->ReportError(what + SizeText(part.Length()) + " are kept in \"" + part.Path() +
                        "\"; rerun the command to resume");
}

void FetchWithRetries(Source* source, PartFile* part, const Options& options, Reporter* reporter,
                      ProgressLine* progress) {
  RetryCounter retries(options, part->Length(), reporter);
  for (;;) {
    try {
      source->Fetch(part);
      progress->End();
      return;
    } catch (const Failure& failure) {
      progress->End();
      retries.Wait(failure, part->Length());
    }
  }
}

std::string RateText(std::uint64_t bytes, double seconds) {
  if (bytes == 0 || seconds < 0.001) return "";
  return ", " + SizeText(static_cast<std::uint64_t>(static_cast<double>(bytes) / seconds)) + "/s";
}

}  // namespace

void RetryCounter::Wait(const Failure& failure, std::uint64_t position) {
  if (position > furthest_) {
    furthest_ = position;
    moved_ = true;
    failedRetries_ = 0;
  }
  if (failure.retry == Retry::No || !moved_ || failedRetries_ >= options_.retries) throw failure;
  const unsigned shift = std::min(failedRetries_, 6u);
  const unsigned wait = std::min(options_.retryWaitSeconds << shift, kLongestWaitSeconds);
  failedRetries_++;
  reporter_->Say(failure.text);
  reporter_->Say("retrying in " + std::to_string(wait) + " s (retry " + std::to_string(failedRetries_) +
                 " of " + std::to_string(options_.retries) + ")");
  console::Pause(wait * 1000);
  if (console::Interrupted()) throw Interruption{};
}

void Download(const Address& address, const std::string& target, const Options& options, Reporter* reporter) {
  PartFile part(target);
  ProgressLine progress(reporter, address.fileName);
  const auto source = address.scheme == Scheme::FTP ? MakeFTPSource(address, options, reporter, &progress)
                                                    : MakeHTTPSource(address, options, reporter, &progress);
  if (options.restart) part.Restart();
  const std::uint64_t before = part.Length();
  const auto start = std::chrono::steady_clock::now();
  try {
    FetchWithRetries(source.get(), &part, options, reporter, &progress);
  } catch (const Interruption&) {
    progress.End();
    ReportPart(part, "interrupted; ", reporter);
    throw;
  } catch (const Failure& failure) {
    reporter->ReportError(failure.text);
    ReportPart(part, "", reporter);
    throw Failure{failure.code, ""};
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const std::uint64_t length = part.Length();
  const std::string name = part.Complete(options.synchronise);
  const std::uint64_t moved = length > before ? length - before : length;
  reporter->Say("saved \"" + name + "\" (" + SizeText(length) + RateText(moved, seconds) + ")");
  source->Quit();
}

}  // namespace tool
