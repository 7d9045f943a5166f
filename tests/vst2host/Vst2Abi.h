// The VST 2.4 binary interface as hosts know it, from the public documentation: the structure layout and
// opcode numbers this host uses, sharing nothing with the headers the plug-in is built from.
#pragma once

#include <cstdint>

namespace vst2abi
{

struct Effect;
using HostCallback = intptr_t (*)(Effect*, int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt);
using Dispatcher = intptr_t (*)(Effect*, int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt);
using ProcessFloat = void (*)(Effect*, float** inputs, float** outputs, int32_t frames);
using EntryPoint = Effect* (*)(HostCallback);

// Up to the last field this host reads.
struct Effect
{
    int32_t magic;
    Dispatcher dispatcher;
    ProcessFloat process; // deprecated accumulating process
    void (*setParameter)(Effect*, int32_t index, float value);
    float (*getParameter)(Effect*, int32_t index);
    int32_t numPrograms, numParams, numInputs, numOutputs, flags;
    intptr_t reserved1, reserved2;
    int32_t initialDelay, realQualities, offQualities;
    float ioRatio;
    void *object, *user;
    int32_t uniqueId, version;
    ProcessFloat processReplacing;
};

constexpr int32_t fourCC(const char (&c)[5]) { return (int32_t(c[0]) << 24) | (int32_t(c[1]) << 16) | (int32_t(c[2]) << 8) | int32_t(c[3]); }

constexpr int32_t effectMagic = fourCC("VstP"), plugCategoryEffect = 1;
constexpr int32_t flagHasEditor = 1 << 0, flagCanReplacing = 1 << 4, flagProgramChunks = 1 << 5;

// Effect opcodes, host to plug-in.
enum : int32_t
{
    effOpen = 0, effClose = 1, effGetParamLabel = 6, effGetParamDisplay = 7, effGetParamName = 8,
    effSetSampleRate = 10, effSetBlockSize = 11, effMainsChanged = 12, effEditIdle = 19, effGetChunk = 23, effSetChunk = 24,
    effGetPlugCategory = 35, effGetEffectName = 45, effGetVendorString = 47, effGetVendorVersion = 49, effCanDo = 51,
    effGetTailSize = 52, effGetVstVersion = 58, effStartProcess = 71, effStopProcess = 72,
    effGetNumMidiInputChannels = 78, effGetNumMidiOutputChannels = 79,
};

// Host opcodes, plug-in to host; 49 is the highest of 2.4.
enum : int32_t
{
    audioMasterAutomate = 0, audioMasterVersion = 1, audioMasterIOChanged = 13, audioMasterUpdateDisplay = 42,
    audioMasterBeginEdit = 43, audioMasterEndEdit = 44, audioMasterGetInputSpeakerArrangement = 49,
};

} // namespace vst2abi
