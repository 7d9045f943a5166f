#pragma once

#include <cstdint>
#include <cstring>

namespace qel
{

// The one record of all traffic in the tree; 96 bytes, laid out for the ring
// buffers and the sorted block lists that carry it.
struct EngineEvent
{
    enum Type : int32_t
    {
        NoteOff = 0x80,
        NoteOn = 0x90,
        PolyAftertouch = 0xA0,
        Controller = 0xB0,
        ProgramChange = 0xC0,
        ChannelPressure = 0xD0,
        PitchWheel = 0xE0,
        MidiOther = 257,
        ParameterImmediate = 267,
        ParameterDeferred = 268,
        ParameterEvent = 269,
        StartPlaying = 260,
        StopPlaying = 261,
        StartRecording = 262,
        StopRecording = 263,
        SetPosition = 264,
    };

    int32_t type = 0;
    int64_t samplePosition = 0;
    uint64_t word = 0;           // zero for MIDI
    int32_t port = 0;
    int32_t channel = 0;         // 0..15
    int32_t noteId = -1;
    int64_t value = 0;
    int32_t data1 = 0;           // note or controller
    int32_t data2 = 0;           // velocity or value
    union Tail
    {
        float floats[10];
        struct Parameter
        {
            uint32_t target;
            uint32_t parameterId;
            double value;
        } parameter;
        unsigned char bytes[40];
    } tail {};

    static EngineEvent midi(int32_t status, int32_t channel, int32_t data1, int32_t data2,
                            int64_t samplePosition, int32_t port = 0) noexcept
    {
        EngineEvent e;
        e.type = status;
        e.samplePosition = samplePosition;
        e.port = port;
        e.channel = channel;
        e.data1 = data1;
        e.data2 = data2;
        if (status == NoteOn || status == NoteOff)
            e.tail.floats[0] = 1.0f;
        return e;
    }

    static EngineEvent transport(int32_t type, int64_t samplePosition) noexcept
    {
        EngineEvent e;
        e.type = type;
        e.samplePosition = samplePosition;
        return e;
    }

    // The position of a SetPosition event travels in the value word as a double's bits.
    double positionValue() const noexcept
    {
        double d;
        std::memcpy(&d, &value, sizeof d);
        return d;
    }

    void setPositionValue(double d) noexcept { std::memcpy(&value, &d, sizeof d); }
};

static_assert(sizeof(EngineEvent) == 96, "EngineEvent is a 96-byte record");

// Stable insertion sort by sample position: equal positions keep their arrival order.
template <typename Iterator>
void sortEventsByPosition(Iterator first, Iterator last) noexcept
{
    for (auto i = first; i != last; ++i)
    {
        EngineEvent e = *i;
        auto j = i;
        while (j != first && (j - 1)->samplePosition > e.samplePosition)
        {
            *j = *(j - 1);
            --j;
        }
        *j = e;
    }
}

} // namespace qel
