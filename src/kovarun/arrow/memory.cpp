#include "kovarun/arrow/memory.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <mutex>
#include <new>
#include <vector>

#include "diag/assert.h"

// Memory for columns. A batch has columns of megabytes, which the allocator of the process would take from
// the system and give back each time; clearing those pages would cost more than decoding the peaks that fill
// them. So large blocks that a consumer has released are kept for the next batch, up to a bound, which follows
// from the memory budgets of the runs that are open: blocks serve all of them. Contents are not cleared: every
// column is written before anybody sees it. Consumers release on any thread, in any order, and after everything
// else of the library has ended.
namespace lumo::run::arrow {

namespace {

// Smaller blocks are what the allocator of the process is good at.
constexpr std::size_t kLarge = std::size_t{1} << 18;
constexpr std::size_t kMostIdle = std::size_t{48} << 20;
constexpr std::uint64_t kBudgetPerIdle = 2;  // with less, exports clear more pages

// Sizes of blocks have three significant bits: frames differ a little in their number of peaks, and the block
// of one should serve for the next.
std::size_t roundedUp(std::size_t bytes) {
    LUMO_ASSERT(bytes >= kLarge);
    const auto dropped = std::bit_width(bytes) - 3;
    return (((bytes - 1) >> dropped) + 1) << dropped;
}

struct Block {
    std::byte* address;
    std::size_t size;
};

// Blocks that nobody uses. The lock is only tried: a thread that does not get it takes memory from the
// allocator, or gives it back there. So no thread ever waits here, and a fork while another thread has the
// lock leaves a child that works.
class IdleBlocks {
public:
    // The smallest that is large enough and not more than half unused, or none.
    Block take(std::size_t size) {
        const std::unique_lock lock(mutex, std::try_to_lock);
        if (!lock) {
            return {};
        }
        const auto first =
            std::lower_bound(blocks.begin(), blocks.end(), size,
                             [](const Block& block, std::size_t wanted) { return block.size < wanted; });
        if (first == blocks.end() || first->size / 2 > size) {
            return {};
        }
        const Block found = *first;
        blocks.erase(first);
        total -= found.size;
        return found;
    }

    void giveBack(Block block) noexcept {
        if (!keep(block)) {
            ::operator delete(block.address);
        }
    }

    void allow(std::size_t more) noexcept { allowed += more; }

    // Frees what is now too much, the largest first.
    void allowLess(std::size_t less) noexcept {
        allowed -= less;
        const std::unique_lock lock(mutex, std::try_to_lock);
        while (lock && total > most()) {
            total -= blocks.back().size;
            ::operator delete(blocks.back().address);
            blocks.pop_back();
        }
    }

private:
    std::size_t most() const noexcept { return std::min(allowed.load(), kMostIdle); }

    // False if the block is to be freed: nobody waits for the lock, and what is idle has a bound.
    bool keep(Block block) noexcept {
        const std::unique_lock lock(mutex, std::try_to_lock);
        if (!lock || total + block.size > most()) {
            return false;
        }
        try {
            blocks.insert(
                std::lower_bound(blocks.begin(), blocks.end(), block.size,
                                 [](const Block& one, std::size_t size) { return one.size < size; }),
                block);
        } catch (const std::bad_alloc&) {
            return false;
        }
        total += block.size;
        return true;
    }

    std::mutex mutex;
    std::vector<Block> blocks;  // sizes ascending
    std::size_t total = 0;      // of their sizes
    std::atomic<std::size_t> allowed = 0;
};

// Never destroyed: batches may outlive everything else.
union Forever {
    constexpr Forever() : blocks() {}
    constexpr ~Forever() {}
    IdleBlocks blocks;
};
constinit Forever idle;

}  // namespace

std::shared_ptr<std::byte[]> takeMemory(std::size_t bytes) {
    if (bytes < kLarge) {
        return std::shared_ptr<std::byte[]>(new std::byte[bytes]);
    }
    const std::size_t size = roundedUp(bytes);
    Block block = idle.blocks.take(size);
    if (block.address == nullptr) {
        block = {static_cast<std::byte*>(::operator new(size)), size};
    }
    return {block.address, [block](const std::byte*) { idle.blocks.giveBack(block); }};
}

IdleMemory::IdleMemory(std::uint64_t memoryBudget) noexcept
    : allowed(std::min<std::uint64_t>(memoryBudget / kBudgetPerIdle, kMostIdle)) {
    idle.blocks.allow(allowed);
}

IdleMemory::~IdleMemory() { idle.blocks.allowLess(allowed); }

}  // namespace lumo::run::arrow
