#pragma once

#include "analysis-writer/little_endian.h"

namespace analysis_writer {

// One LZF stream with back references. liblzf's compressor works on uninitialised memory and may produce
// different streams from run to run; this encoder gives the same bytes for the same input, everywhere.
Bytes lzfStream(ByteView content);

// The same format made of literal runs only: a valid stream for content of any kind, slightly longer than it.
Bytes lzfLiteralStream(ByteView content);

}  // namespace analysis_writer
