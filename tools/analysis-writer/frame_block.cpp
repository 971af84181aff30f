#include "analysis-writer/frame_block.h"

#include "analysis-writer/byte_shuffle.h"

// The steps from a frame to a block: words, shuffled, compressed, with header. FrameBlockEncoder takes the
// same steps with buffers that it keeps, for simulated runs of gigabytes.
namespace analysis_writer {

namespace {

constexpr std::uint32_t kWordsPerPeak = 2;

void appendScanTable(const Frame& frame, std::vector<std::uint32_t>& words) {
    if (frame.empty())
        return;
    words.push_back(fileSize32(frame.size()));
    for (std::size_t scan = 0; scan + 1 < frame.size(); ++scan) {
        words.push_back(fileSize32(kWordsPerPeak * frame[scan].size()));
    }
}

void appendPairWords(const Scan& scan, std::vector<std::uint32_t>& words) {
    std::uint32_t sum = 0;
    for (const Peak& peak : scan) {
        const std::uint32_t next = peak.index + 1U;
        words.push_back(next - sum);
        words.push_back(peak.intensity);
        sum = next;
    }
}

void appendFrameWords(const Frame& frame, std::vector<std::uint32_t>& words) {
    appendScanTable(frame, words);
    for (const Scan& scan : frame)
        appendPairWords(scan, words);
}

}  // namespace

std::vector<std::uint32_t> scanTable(const Frame& frame) {
    std::vector<std::uint32_t> words;
    appendScanTable(frame, words);
    return words;
}

std::vector<std::uint32_t> pairWords(const Scan& scan) {
    std::vector<std::uint32_t> words;
    appendPairWords(scan, words);
    return words;
}

std::vector<std::uint32_t> frameWords(const Frame& frame) {
    std::vector<std::uint32_t> words;
    appendFrameWords(frame, words);
    return words;
}

Bytes wordsBlock(std::span<const std::uint32_t> words, std::uint32_t scanCount,
                 const FrameBlockOptions& options) {
    return block(scanCount, zstdFrame(shuffled(words), options.zstdLevel, options.contentSize),
                 options.overrides);
}

Bytes frameBlock(const Frame& frame, const FrameBlockOptions& options) {
    if (frame.empty())
        return block(0, {}, options.overrides);
    return wordsBlock(frameWords(frame), fileSize32(frame.size()), options);
}

Bytes emptyFrameBlock(std::uint32_t scanCount) { return block(scanCount, {}); }

ByteView FrameBlockEncoder::encode(const Frame& frame) {
    block.resize(kBlockHeaderBytes);
    if (!frame.empty()) {
        words.clear();
        planes.clear();
        appendFrameWords(frame, words);
        appendShuffled(words, planes);
        compressor.append(planes, block);
    }
    finishBlock(block, fileSize32(frame.size()));
    return block;
}

}  // namespace analysis_writer
