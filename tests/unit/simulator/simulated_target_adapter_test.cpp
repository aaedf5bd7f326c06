#include <thread>

#include "host_api/entry_points.h"
#include "loaded_board.h"
#include "simulator/board/tpiu_state.h"
#include "simulator/host_libraries/target_adapter_factory.h"

namespace Korr::Plim::Trace::Simulator {

namespace {

constexpr const char* kLibrary = "ICETargetAdapter";
constexpr uint32_t kCpuId = 7;

class SimulatedTargetAdapter : public LoadedBoard {
  protected:
    TargetAdapter* Create() { return create("board/cpu", kCpuId); }
    void Set(TargetAdapter& adapter) {
        EXPECT_EQ(adapter.SetTpiuPrescaler(kCpuId, 23), 0u);
        EXPECT_EQ(adapter.SetTpiuPinProtocol(kCpuId, 2), 0u);
        EXPECT_EQ(adapter.SetTimestampPrescale(kCpuId, 16), 0u);
    }
    TpiuState State() { return ReadTpiuState(File("tpiu.json")).value_or(TpiuState()); }

    CreateTargetAdapterFunction create = Entry<CreateTargetAdapterFunction>(kLibrary, "CreateTargetAdapter");
    DestroyTargetAdapterFunction destroy =
        Entry<DestroyTargetAdapterFunction>(kLibrary, "DestroyTargetAdapter");
    NewTargetAdapterFunction newAdapter = Entry<NewTargetAdapterFunction>(kLibrary, "NewTargetAdapter");
};

TEST_F(SimulatedTargetAdapter, WritesTheTpiusStateWhenProgrammedAndEnabled) {
    TargetAdapter* const adapter = Create();
    Set(*adapter);
    EXPECT_FALSE(ReadTpiuState(File("tpiu.json")));
    EXPECT_EQ(adapter->ProgramTpiu(kCpuId), 0u);
    EXPECT_EQ(State(), (TpiuState{23, 2, 16, true, false}));
    EXPECT_EQ(adapter->EnableTpiu(kCpuId), 0u);
    EXPECT_EQ(State(), (TpiuState{23, 2, 16, true, true}));
    EXPECT_EQ(adapter->TraceRelease(kCpuId), 0u);
    EXPECT_EQ(State(), TpiuState());
    destroy(adapter);
}

TEST_F(SimulatedTargetAdapter, ResultsComeFromTheBoardAndHaveNoEffect) {
    board["results"] = {{"EnableTpiu", 9}, {"ProgramTpiu", 8}};
    Write(board);
    TargetAdapter* const adapter = Create();
    Set(*adapter);
    EXPECT_EQ(adapter->ProgramTpiu(kCpuId), 8u);
    EXPECT_EQ(adapter->EnableTpiu(kCpuId), 9u);
    EXPECT_FALSE(ReadTpiuState(File("tpiu.json")));
    destroy(adapter);
}

TEST_F(SimulatedTargetAdapter, ExportStatusIsClearedForItsOwnCpuAlone) {
    board["export_status"] = 5;
    board["set_up_file"] = "set-up.txt";  // of any CPU
    Write(board);
    TargetAdapter* const first = create("board/first", 1);
    TargetAdapter* const second = create("board/second", 2);
    first->ClearExportStatus(1, 5);
    uint32_t status = 99;
    first->GetExportStatus(1, status);
    EXPECT_EQ(status, 0u);
    second->GetExportStatus(2, status);
    EXPECT_EQ(status, 5u);
    destroy(first);
    destroy(second);
}

TEST_F(SimulatedTargetAdapter, IsTakenBackAlsoWhenTheBoardCannotBeRead) {
    TargetAdapter* const adapter = Create();
    board["broken"] = true;
    Write(board);
    EXPECT_NO_THROW(destroy(adapter));
    board.erase("broken");
    Write(board);
    EXPECT_EQ(adapter->ProgramTpiu(kCpuId), 1u) << "it is no longer usable";
}

TEST_F(SimulatedTargetAdapter, ExportStatusIsGivenUntilItIsCleared) {
    board["export_status"] = 5;
    Write(board);
    TargetAdapter* const adapter = Create();
    uint32_t status = 0;
    EXPECT_EQ(adapter->GetExportStatus(kCpuId, status), 0u);
    EXPECT_EQ(status, 5u);
    adapter->ClearExportStatus(kCpuId, 4);
    adapter->GetExportStatus(kCpuId, status);
    EXPECT_EQ(status, 1u);
    adapter->ClearExportStatus(kCpuId, 1);
    adapter->GetExportStatus(kCpuId, status);
    EXPECT_EQ(status, 0u);
    board["export_status"] = 6;
    Write(board);
    adapter->GetExportStatus(kCpuId, status);
    EXPECT_EQ(status, 6u);
    destroy(adapter);
}

TEST_F(SimulatedTargetAdapter, MisuseIsRefusedAndNotedAsAViolation) {
    TargetAdapter* const adapter = Create();
    EXPECT_EQ(adapter->TraceExportOpA(kCpuId + 1), 1u);
    EXPECT_EQ(Violation(), "wrong CPU id");
    EXPECT_EQ(adapter->ProgramTpiu(kCpuId), 1u);
    EXPECT_EQ(Violation(), "before prescaler, pin protocol and timestamp prescale were set");
    EXPECT_EQ(adapter->EnableTpiu(kCpuId), 1u);
    EXPECT_EQ(Violation(), "before ProgramTpiu");
    EXPECT_EQ(adapter->SetTpiuPrescaler(kCpuId, 8192), 1u);
    EXPECT_EQ(Violation(), "prescaler above 8191");
    EXPECT_EQ(adapter->SetTpiuPinProtocol(kCpuId, 3), 1u);
    EXPECT_EQ(Violation(), "pin protocol above 2");
    EXPECT_EQ(adapter->SetTimestampPrescale(kCpuId, 5), 1u);
    EXPECT_EQ(Violation(), "timestamp prescale is none of 1, 4, 16, 64");
    EXPECT_EQ(adapter->TraceRelease(kCpuId), 0u);
    EXPECT_EQ(adapter->TraceExportOpB(kCpuId), 1u);
    EXPECT_EQ(Violation(), "call after TraceRelease");
    destroy(adapter);
    EXPECT_EQ(adapter->TraceExportOpB(kCpuId), 1u);
    EXPECT_EQ(Violation(), "call after DestroyTargetAdapter");
    destroy(adapter);
    EXPECT_EQ(Violation(), "no living adapter");
    destroy(nullptr);
    EXPECT_EQ(Violation(), "null adapter");
}

TEST_F(SimulatedTargetAdapter, CallOnAnotherThreadIsNotedAndCarriedOut) {
    TargetAdapter* const adapter = Create();
    std::thread([adapter] { EXPECT_EQ(adapter->TraceExportOpA(kCpuId), 0u); }).join();
    EXPECT_EQ(Violation(), "call on another thread than the host's");
    destroy(adapter);
}

TEST_F(SimulatedTargetAdapter, UnknownAndNullCpusGetNone) {
    EXPECT_EQ(create("other", 0), nullptr);
    EXPECT_EQ(Violation(), "unknown CPU");
    EXPECT_EQ(create(nullptr, 0), nullptr);
    EXPECT_EQ(Violation(), "null CPU name");
}

TEST_F(SimulatedTargetAdapter, MemoryIsReadFromTheBoard) {
    board["memory"] = {{"0xE0001020", "0x1234"}};
    Write(board);
    MemoryAccessor* handle = nullptr;
    MemoryAccessor* const memory = newAdapter("board/cpu", &handle);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(handle, memory);
    uint32_t word = 99;
    EXPECT_EQ(memory->ReadMemory(0xE0001020, word), 0u);
    EXPECT_EQ(word, 0x1234u);
    EXPECT_EQ(memory->ReadMemory(0xE0001030, word), 0u);
    EXPECT_EQ(word, 0u);
}

TEST_F(SimulatedTargetAdapter, MemoryAccessorIsRefusedWithoutCpuHandleOrWhenTheBoardSaysSo) {
    MemoryAccessor* handle = nullptr;
    EXPECT_EQ(newAdapter(nullptr, &handle), nullptr);
    EXPECT_EQ(Violation(), "null CPU name");
    EXPECT_EQ(newAdapter("board/cpu", nullptr), nullptr);
    EXPECT_EQ(Violation(), "null handle");
    EXPECT_EQ(newAdapter("other", &handle), nullptr);
    EXPECT_EQ(Violation(), "unknown CPU");
    board["target_adapter"] = {{"create", false}};
    Write(board);
    EXPECT_EQ(newAdapter("board/cpu", &handle), nullptr);
    EXPECT_EQ(Violation(), "");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Simulator
