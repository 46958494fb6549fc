// libFuzzer entry point, one binary per reader: the bytes of one input (kind
// chosen by ORDOLO_FUZZ_TOUCH at build time) through the reader and
// everything the program does with what it read (FuzzTouches.h, FuzzTexts.h).
#include "fuzz/FuzzMailPrograms.h"
#include "fuzz/FuzzTexts.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Fixed local time, so that a finding replays the same way anywhere.
  qputenv("TZ", "Europe/Berlin");
  // The libraries' warnings about odd input would only slow the run down.
  qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static ordolo::fuzz::ScratchStore scratch;
  const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
  const ordolo::fuzz::Outcome outcome = ordolo::fuzz::ORDOLO_FUZZ_TOUCH(scratch, bytes);
  // A refused file always says why, and the store makes no items of it.
  if (!outcome.ok && (outcome.error.isEmpty() || outcome.items > 0)) __builtin_trap();
  return 0;
}
