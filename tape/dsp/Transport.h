#pragma once

#include "tape/dsp/ReadHead.h"
#include "tape/dsp/XorAddStep.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace qel
{

// Wow, flutter and a smooth random drift of tape speed, run once per control
// tick into the speed ring. They reach the sound only through the speed.
struct TransportModulation
{
    static constexpr uint32_t seedA = 282491734;
    static constexpr uint32_t seedB = 564966983;
    static constexpr double seedTo = 0.0657688940409571;

    double wowDepth = 0.0;
    double wowRate = 0.1;
    double flutterDepth = 0.0;
    double flutterRate = 5.0;
    double randomDepth = 0.0;
    double randomRate = 10.0;
    uint32_t a = seedA;
    uint32_t b = seedB;
    double randomFrom = 0.0;
    double randomTo = seedTo;
    double c2 = 0.0;
    double c3 = 0.0;
    double wowPhase = 0.0;
    double flutterPhase = 0.0;
    double randomPhase = 1.0;
    double randomValue = 0.0;

    // All decks of all channels start alike, so that modulations run in step.
    void seed() noexcept
    {
        a = seedA;
        b = seedB;
        randomTo = seedTo;
    }

    // Seeds of this deck's own, so that decks and channels wander apart.
    void seedUnsynced() noexcept
    {
        const auto first = static_cast<uint32_t>(std::rand());
        seedUnsynced(first, static_cast<uint32_t>(std::rand()));
    }

    // The same from two given draws: for callers that must not reach rand().
    void seedUnsynced(uint32_t first, uint32_t r) noexcept
    {
        a = first ^ r;
        b = a + r;
        randomTo = static_cast<double>(static_cast<float>(r * 2.3283064365386963e-10));
    }

    // Returns the speed factor m for this tick and advances the generators.
    double tick(double sampleRate, bool on) noexcept
    {
        const double T = 32.0 / sampleRate;
        if (randomPhase >= 1.0)
        {
            randomPhase = std::fmod(randomPhase, 1.0);
            randomFrom = randomValue;
            randomTo = static_cast<double>(xorAddStep(a, b));
            c2 = 3.0 * (randomTo - randomFrom);
            c3 = 2.0 * (randomFrom - randomTo);
        }
        const double phi = randomPhase;
        randomValue = (c3 * phi + c2) * phi * phi + randomFrom;
        constexpr double twoPi = 6.283185307179586;
        double m = std::sin(twoPi * flutterPhase) * flutterDepth + randomValue * randomDepth
                 + std::sin(twoPi * wowPhase) * wowDepth + 1.0;
        if (!on)
            m = 1.0;
        wowPhase += T * wowRate;
        flutterPhase += T * flutterRate;
        randomPhase += T * randomRate;
        return m;
    }
};

// One writer (the audio thread), one reader (the editor): never blocks; a
// write larger than the room drops the oldest samples.
class DisplayRing
{
public:
    // Not while the audio thread writes: the owner swaps rings instead.
    void resize(size_t n)
    {
        data = std::make_unique<std::atomic<float>[]>(n);
        capacity = static_cast<uint32_t>(n);
        for (uint32_t i = 0; i < capacity; ++i)
            data[i].store(0.0f, std::memory_order_relaxed);
        writeIndex.store(0);
        readIndex.store(0);
    }

    size_t size() const noexcept { return capacity; }

    void write(const float* source, uint32_t count) noexcept
    {
        const uint32_t n = capacity;
        if (n == 0)
            return;
        while (count > 0)
        {
            const uint32_t w = writeIndex.load();
            const uint32_t r = readIndex.load();
            const uint32_t room = n - (n + w - r) % n;
            const uint32_t piece = std::min(count, n - w);
            for (uint32_t i = 0; i < piece; ++i)
                data[w + i].store(source[i], std::memory_order_relaxed);
            const uint32_t newWrite = (w + piece) % n;
            writeIndex.store(newWrite);
            if (piece >= room)
                readIndex.store((newWrite + 1) % n);
            source += piece;
            count -= piece;
        }
    }

    uint32_t available() const noexcept
    {
        const uint32_t n = capacity;
        return n == 0 ? 0 : (writeIndex.load() - readIndex.load() + n) % n;
    }

    uint32_t read(float* destination, uint32_t count) noexcept
    {
        const uint32_t n = capacity;
        uint32_t done = 0;
        while (n > 0 && done < count)
        {
            const uint32_t r = readIndex.load();
            const uint32_t w = writeIndex.load();
            if (r == w)
                break;
            const uint32_t end = w > r ? w : n;
            const uint32_t piece = std::min(count - done, end - r);
            for (uint32_t i = 0; i < piece; ++i)
                destination[done + i] = data[r + i].load(std::memory_order_relaxed);
            readIndex.store((r + piece) % n);
            done += piece;
        }
        return done;
    }

private:
    // Floats as relaxed atomics: a sample being overwritten is read whole.
    std::unique_ptr<std::atomic<float>[]> data;
    uint32_t capacity = 0;
    std::atomic<uint32_t> writeIndex { 0 };
    std::atomic<uint32_t> readIndex { 0 };
};

} // namespace qel
