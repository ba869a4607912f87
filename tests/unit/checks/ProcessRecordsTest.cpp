// The CPU accumulator's unsigned arithmetic and the process list's selection; its averages are measured
// through the check (ProcessUsageTest).
#include <gtest/gtest.h>

#include "checks/CProcCpu.h"
#include "checks/CWmiProcessList.h"

namespace {

TEST(ProcCpuTest, CounterRunningBackwardsIsTakenUnsigned) {
    CProcCpu cpu(1);
    cpu.SetFirstSample(100, 0);
    EXPECT_TRUE(cpu.AddSecondSample(0, 100));
    EXPECT_GT(cpu.cpuPercent, 1e18f);
}

CWmiProcess* Record(const char* id, std::int32_t cpu, std::int32_t memory, std::int32_t handles) {
    auto* process = new CWmiProcess(id, id, kCompareCpu, 1);
    process->cpuUsage = cpu;
    process->memoryMB = memory;
    process->handles = handles;
    return process;
}

TEST(WmiProcessListTest, SelectionStopsAtTheFirstThresholdReached) {
    CWmiProcessList list(90, 100, 0);
    list.Append(Record("1", 95, 10, 5));
    list.Append(Record("2", 20, 500, 7));
    list.Append(Record("3", 50, 50, 900));
    CWmiProcess* chosen = list.Select();
    ASSERT_NE(chosen, nullptr);
    EXPECT_STREQ(chosen->id.GetText(), "1");
    EXPECT_EQ(chosen->compareKind, kCompareCpu);

    list.cpuThreshold = 99;
    chosen = list.Select();
    EXPECT_STREQ(chosen->id.GetText(), "2");
    EXPECT_EQ(chosen->compareKind, kCompareMemory);
}

TEST(WmiProcessListTest, NothingReachedSortsByTheFirstZeroThreshold) {
    CWmiProcessList list(99, 999, 0);
    list.Append(Record("1", 95, 10, 5));
    list.Append(Record("2", 20, 500, 7));
    list.Append(Record("3", 50, 50, 900));
    CWmiProcess* chosen = list.Select();
    EXPECT_STREQ(chosen->id.GetText(), "3");
    EXPECT_EQ(chosen->compareKind, kCompareHandles);

    CWmiProcessList none(5, 5, 5);
    none.Append(Record("1", 1, 1, 1));
    none.Append(Record("2", 2, 0, 0));
    EXPECT_STREQ(none.Select()->id.GetText(), "2");  // CPU when no threshold is 0

    CWmiProcessList empty;
    EXPECT_EQ(empty.Select(), nullptr);
}

TEST(WmiProcessListTest, FindsRecordsByIdWithoutRegardToCase) {
    CWmiProcessList list;
    list.Append(Record("a1", 0, 0, 0));
    list.Append(Record("b2", 0, 0, 0));
    list.Append(Record("A1", 0, 0, 0));
    EXPECT_EQ(list.FindById("a1").size(), 2u);
    EXPECT_TRUE(list.FindById("c3").empty());
    list.Append(Record("c3", 0, 0, 0));
    EXPECT_EQ(list.FindById("C3").size(), 1u);
    EXPECT_STREQ(list.Last()->id.GetText(), "c3");
}

}  // namespace
