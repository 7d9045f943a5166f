// The VST 2.4 binary interface as hosts know it: the published structure
// layout and opcode numbers, written here from the public documentation and
// sharing nothing with the headers the plug-in is built from.
#pragma once

#include <cstdint>

namespace vst2abi
{

struct Effect;
using HostCallback = intptr_t (*)(Effect*, int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt);
using Dispatcher = intptr_t (*)(Effect*, int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt);
using ProcessFloat = void (*)(Effect*, float** inputs, float** outputs, int32_t frames);
using ProcessDouble = void (*)(Effect*, double** inputs, double** outputs, int32_t frames);
using SetParameter = void (*)(Effect*, int32_t index, float value);
using GetParameter = float (*)(Effect*, int32_t index);
using EntryPoint = Effect* (*)(HostCallback);

struct Effect
{
    int32_t magic;
    Dispatcher dispatcher;
    ProcessFloat process; // deprecated accumulating process
    SetParameter setParameter;
    GetParameter getParameter;
    int32_t numPrograms;
    int32_t numParams;
    int32_t numInputs;
    int32_t numOutputs;
    int32_t flags;
    intptr_t reserved1;
    intptr_t reserved2;
    int32_t initialDelay;
    int32_t realQualities;
    int32_t offQualities;
    float ioRatio;
    void* object;
    void* user;
    int32_t uniqueId;
    int32_t version;
    ProcessFloat processReplacing;
    ProcessDouble processDoubleReplacing;
    char future[56];
};

constexpr int32_t fourCC(const char (&c)[5])
{
    return (int32_t(c[0]) << 24) | (int32_t(c[1]) << 16) | (int32_t(c[2]) << 8) | int32_t(c[3]);
}

constexpr int32_t effectMagic = fourCC("VstP");

namespace flags
{
constexpr int32_t hasEditor = 1 << 0;
constexpr int32_t canReplacing = 1 << 4;
constexpr int32_t programChunks = 1 << 5;
} // namespace flags

// Effect opcodes, host to plug-in.
enum : int32_t
{
    effOpen = 0,
    effClose = 1,
    effGetParamLabel = 6,
    effGetParamDisplay = 7,
    effGetParamName = 8,
    effSetSampleRate = 10,
    effSetBlockSize = 11,
    effMainsChanged = 12,
    effEditIdle = 19,
    effGetChunk = 23,
    effSetChunk = 24,
    effGetPlugCategory = 35,
    effGetEffectName = 45,
    effGetVendorString = 47,
    effGetVendorVersion = 49,
    effCanDo = 51,
    effGetTailSize = 52,
    effGetVstVersion = 58,
    effStartProcess = 71,
    effStopProcess = 72,
    effGetNumMidiInputChannels = 78,
    effGetNumMidiOutputChannels = 79,
};

// Host opcodes, plug-in to host.
enum : int32_t
{
    audioMasterAutomate = 0,
    audioMasterVersion = 1,
    audioMasterGetTime = 7,
    audioMasterIOChanged = 13,
    audioMasterGetSampleRate = 16,
    audioMasterGetBlockSize = 17,
    audioMasterUpdateDisplay = 42,
    audioMasterBeginEdit = 43,
    audioMasterEndEdit = 44,
    audioMasterGetInputSpeakerArrangement = 49, // the highest host opcode of 2.4
};

constexpr int32_t plugCategoryEffect = 1;

} // namespace vst2abi
