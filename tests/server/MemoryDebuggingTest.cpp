#include "server/MemoryDebugging.h"

#include "platform/LastError.h"
#include "support/AllocationFault.h"

#include <cstddef>
#include <cstdint>

#include <gtest/gtest.h>

namespace
{

TEST(MemoryDebuggingTest, BlocksAreCountedAndExhaustionGivesNull)
{
    const std::size_t before = CMemoryDebugging::LiveBlocks();
    void* const block = CMemoryDebugging::TraceAllocate(1, "MemoryDebuggingTest", 0);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0u);
    EXPECT_EQ(CMemoryDebugging::LiveBlocks(), before + 1);
    SetLastError(0);
    {
        const CAllocationFault fault(1);
        EXPECT_EQ(CMemoryDebugging::TraceAllocate(1, "MemoryDebuggingTest", 0), nullptr);
    }
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(CMemoryDebugging::LiveBlocks(), before + 1);
    CMemoryDebugging::TraceDeallocate(block);
    CMemoryDebugging::TraceDeallocate(nullptr);
    EXPECT_EQ(CMemoryDebugging::LiveBlocks(), before);
}

} // namespace
