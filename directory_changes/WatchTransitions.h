// Where a watch stands, and what brings it on.
//
//     StateNotSet -> StateStartMonitoring -> StateRunning -> StateStopMonitoring -> StateStopped -> StateEnded
//
// A caller begins the watch, callers end it, and the worker does everything in between. Each thread gives an input
// (WatchInput). The table below decides the next state and the task of that thread (WatchTask).
//
// There is one more rule, the lease (WatchState.h): while the worker handles a packet of the watch, PostRefused waits
// for the end of the lease, and GivenUp has no effect unless the worker has ended.
#pragma once

#include <windows.h>

enum RunningState : DWORD {
    StateNotSet = 0,          // made, and not begun
    StateStartMonitoring = 1, // the worker is to issue the first read
    StateStopMonitoring = 2,  // to be ended; the directory is still open
    StateStopped = 3,         // the directory is closed; the last read has not come back
    StateRunning = 5,         // a read is pending, or what it brought is being handled
    StateEnded = 6,           // nothing is read any more
};

// An input to the table, and the kind of thread that gives it.
enum class WatchInput {
    StartAsked,  // caller: begin the watch
    StopAsked,   // caller: end the watch; may be said more than once
    Packet,      // worker: a packet that a caller has posted came
    ReadBack,    // worker: the packet of a read came
    ReadRefused, // worker: there will be no further read
    PostRefused, // caller: the system has refused the packet; with a lease out, it counts at the end of the lease
    GivenUp,     // caller: the worker has ended, or the last read does not come back
};

// The task of the thread that gave the input.
enum class WatchTask {
    Nothing,
    PostPacket,     // wake the worker
    FirstRead,      // issue the first read
    HandleRead,     // decode, then issue the next read
    HandleLastRead, // decode, then Finish(Stopped)
    CloseDirectory, // done by WatchState itself: the pending read comes back
    ReportError,    // report that there is no further read; the stop goes on
    FinishStopped,  // Finish(Stopped)
    FinishFailed,   // Finish(Failed)
    FinishUnheard,  // Finish(Unheard)
    ForgetKey,      // a read that was given up has come back: nothing refers to its buffer any more
};

struct WatchStep {
    RunningState next;
    WatchTask task;
};

struct WatchTransition {
    RunningState state;
    WatchInput input;
    enum { Any, Pending, None } read; // whether a read is pending
    WatchStep step;
};

// Inputs that have no row change nothing: packets that come late, a stop that was asked for before.
inline constexpr WatchTransition WatchTransitions[] = {
    {StateNotSet, WatchInput::StartAsked, WatchTransition::Any, {StateStartMonitoring, WatchTask::PostPacket}},
    {StateNotSet, WatchInput::StopAsked, WatchTransition::Any, {StateEnded, WatchTask::FinishStopped}},

    {StateStartMonitoring, WatchInput::Packet, WatchTransition::Any, {StateRunning, WatchTask::FirstRead}},
    {StateStartMonitoring, WatchInput::PostRefused, WatchTransition::Any, {StateEnded, WatchTask::FinishUnheard}},
    {StateStartMonitoring, WatchInput::StopAsked, WatchTransition::Any, {StateStopMonitoring, WatchTask::PostPacket}},
    {StateStartMonitoring, WatchInput::GivenUp, WatchTransition::Any, {StateEnded, WatchTask::FinishUnheard}},

    {StateRunning, WatchInput::ReadBack, WatchTransition::Any, {StateRunning, WatchTask::HandleRead}},
    {StateRunning, WatchInput::ReadRefused, WatchTransition::Any, {StateEnded, WatchTask::FinishFailed}},
    {StateRunning, WatchInput::StopAsked, WatchTransition::Any, {StateStopMonitoring, WatchTask::PostPacket}},
    {StateRunning, WatchInput::GivenUp, WatchTransition::Any, {StateEnded, WatchTask::FinishStopped}},

    // A read that comes before the stop is handled as ever: the next one brings what the system has gathered meanwhile.
    {StateStopMonitoring, WatchInput::ReadBack, WatchTransition::Any, {StateStopMonitoring, WatchTask::HandleRead}},
    {StateStopMonitoring, WatchInput::ReadRefused, WatchTransition::Any, {StateStopMonitoring, WatchTask::ReportError}},
    {StateStopMonitoring, WatchInput::Packet, WatchTransition::Pending, {StateStopped, WatchTask::CloseDirectory}},
    {StateStopMonitoring, WatchInput::Packet, WatchTransition::None, {StateEnded, WatchTask::FinishStopped}},
    {StateStopMonitoring, WatchInput::PostRefused, WatchTransition::Pending, {StateStopped, WatchTask::CloseDirectory}},
    {StateStopMonitoring, WatchInput::PostRefused, WatchTransition::None, {StateEnded, WatchTask::FinishStopped}},
    {StateStopMonitoring, WatchInput::GivenUp, WatchTransition::Any, {StateEnded, WatchTask::FinishStopped}},

    {StateStopped, WatchInput::ReadBack, WatchTransition::Any, {StateEnded, WatchTask::HandleLastRead}},
    {StateStopped, WatchInput::GivenUp, WatchTransition::Any, {StateEnded, WatchTask::FinishStopped}},

    {StateEnded, WatchInput::ReadBack, WatchTransition::Any, {StateEnded, WatchTask::ForgetKey}},
};

constexpr WatchStep NextStep(RunningState state, WatchInput input, bool readPending)
{
    const auto read = readPending ? WatchTransition::Pending : WatchTransition::None;
    for (const WatchTransition& row : WatchTransitions)
        if (row.state == state && row.input == input && (row.read == WatchTransition::Any || row.read == read))
            return row.step;
    return {state, WatchTask::Nothing};
}
