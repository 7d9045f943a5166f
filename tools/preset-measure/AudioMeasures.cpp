#include "AudioMeasures.h"

#include <algorithm>
#include <cmath>
#include <complex>

namespace qel::measure
{

namespace
{

constexpr double pi = 3.14159265358979323846;

double toDb(double power) { return 10.0 * std::log10(std::max(power, 1e-30)); }

struct Biquad
{
    double b0, b1, b2, a1, a2;
    double z1 = 0.0, z2 = 0.0;
    double operator()(double x)
    {
        const double y = b0 * x + z1;
        z1 = b1 * x - a1 * y + z2;
        z2 = b2 * x - a2 * y;
        return y;
    }
};

// Radix-2, in place.
void fft(std::vector<std::complex<double>>& a)
{
    const size_t n = a.size();
    for (size_t i = 1, j = 0; i < n; ++i)
    {
        size_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(a[i], a[j]);
    }
    for (size_t len = 2; len <= n; len <<= 1)
    {
        const std::complex<double> w(std::cos(-2.0 * pi / static_cast<double>(len)), std::sin(-2.0 * pi / static_cast<double>(len)));
        for (size_t i = 0; i < n; i += len)
        {
            std::complex<double> wk(1.0, 0.0);
            for (size_t k = 0; k < len / 2; ++k)
            {
                const auto u = a[i + k], v = a[i + k + len / 2] * wk;
                a[i + k] = u + v;
                a[i + k + len / 2] = u - v;
                wk *= w;
            }
        }
    }
}

// Averaged power spectrum of Hann-windowed frames, half overlapping.
std::vector<double> powerSpectrum(const Signal& x, size_t n)
{
    std::vector<double> sum(n / 2 + 1, 0.0);
    std::vector<std::complex<double>> frame(n);
    int frames = 0;
    for (size_t at = 0; at + n <= x.size(); at += n / 2, ++frames)
    {
        for (size_t i = 0; i < n; ++i)
            frame[i] = x[at + i] * (0.5 - 0.5 * std::cos(2.0 * pi * static_cast<double>(i) / static_cast<double>(n)));
        fft(frame);
        for (size_t k = 0; k < sum.size(); ++k)
            sum[k] += std::norm(frame[k]);
    }
    for (auto& s : sum)
        s /= std::max(frames, 1);
    return sum;
}

double percentile(std::vector<double> v, double p)
{
    if (v.empty())
        return 0.0;
    const auto i = static_cast<size_t>(p * static_cast<double>(v.size() - 1));
    std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(i), v.end());
    return v[i];
}

} // namespace

double kWeightedLoudness(const std::vector<Signal>& channels)
{
    double total = 0.0;
    for (const auto& x : channels)
    {
        // The two stages of the K weighting at 48 kHz: a high shelf, then a high pass.
        Biquad shelf { 1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241, 0.73248077421585 };
        Biquad highPass { 1.0, -2.0, 1.0, -1.99004745483398, 0.99007225036621 };
        double sum = 0.0;
        for (const float s : x)
        {
            const double y = highPass(shelf(s));
            sum += y * y;
        }
        total += sum / std::max<double>(1.0, static_cast<double>(x.size()));
    }
    return -0.691 + toDb(total);
}

double truePeakDb(const std::vector<Signal>& channels)
{
    constexpr int factor = 4, half = 16; // taps each side, per phase
    // Hann-windowed sinc kernel for each of the factor phases.
    // Index j * factor + phase + factor * half, for j in -half..half and phase below factor.
    std::vector<double> kernel(static_cast<size_t>(factor * (2 * half + 1)));
    for (size_t i = 0; i < kernel.size(); ++i)
    {
        const double t = (static_cast<double>(i) - factor * half) / factor;
        const double sinc = t == 0.0 ? 1.0 : std::sin(pi * t) / (pi * t);
        kernel[i] = sinc * (0.5 + 0.5 * std::cos(pi * t / (half + 1)));
    }
    double peak = 0.0;
    for (const auto& x : channels)
    {
        const auto n = static_cast<int>(x.size());
        for (int i = 0; i < n; ++i)
            for (int phase = 0; phase < factor; ++phase)
            {
                double y = 0.0;
                for (int j = -half; j <= half; ++j)
                {
                    const int at = i - j;
                    if (at >= 0 && at < n)
                        y += x[static_cast<size_t>(at)] * kernel[static_cast<size_t>(j * factor + phase + factor * half)];
                }
                peak = std::max(peak, std::abs(y));
            }
    }
    return 20.0 * std::log10(std::max(peak, 1e-15));
}

double sideToMidDb(const Signal& left, const Signal& right)
{
    double side = 0.0, mid = 0.0;
    for (size_t i = 0; i < std::min(left.size(), right.size()); ++i)
    {
        side += (left[i] - right[i]) * static_cast<double>(left[i] - right[i]);
        mid += (left[i] + right[i]) * static_cast<double>(left[i] + right[i]);
    }
    return toDb(side) - toDb(mid);
}

double correlation(const Signal& left, const Signal& right)
{
    double lr = 0.0, ll = 0.0, rr = 0.0;
    for (size_t i = 0; i < std::min(left.size(), right.size()); ++i)
    {
        lr += static_cast<double>(left[i]) * right[i];
        ll += static_cast<double>(left[i]) * left[i];
        rr += static_cast<double>(right[i]) * right[i];
    }
    return ll > 0.0 && rr > 0.0 ? lr / std::sqrt(ll * rr) : 1.0;
}

double crestDb(const Signal& x)
{
    double peak = 0.0, sum = 0.0;
    for (const float s : x)
    {
        peak = std::max(peak, static_cast<double>(std::abs(s)));
        sum += static_cast<double>(s) * s;
    }
    return 20.0 * std::log10(std::max(peak, 1e-15)) - toDb(sum / std::max<double>(1.0, static_cast<double>(x.size())));
}

double thirdOctaveGainDb(const Signal& input, const Signal& output, double hertz)
{
    return bandGainDb(input, output, hertz * std::pow(2.0, -1.0 / 6.0), hertz * std::pow(2.0, 1.0 / 6.0));
}

double bandGainDb(const Signal& input, const Signal& output, double low, double high)
{
    constexpr size_t n = 4096;
    const auto in = powerSpectrum(input, n), out = powerSpectrum(output, n);
    const double binHz = sampleRate / static_cast<double>(n);
    const auto from = static_cast<size_t>(std::ceil(low / binHz));
    const auto to = static_cast<size_t>(std::floor(high / binHz));
    double a = 0.0, b = 0.0;
    for (size_t k = from; k <= to && k < in.size(); ++k)
    {
        a += in[k];
        b += out[k];
    }
    return toDb(b) - toDb(a);
}

double levelSwingDb(const Signal& x)
{
    const auto window = static_cast<size_t>(0.05 * sampleRate);
    std::vector<double> levels;
    for (size_t at = 0; at + window <= x.size(); at += window / 2)
    {
        double sum = 0.0;
        for (size_t i = at; i < at + window; ++i)
            sum += static_cast<double>(x[i]) * x[i];
        levels.push_back(toDb(sum / static_cast<double>(window)));
    }
    return percentile(levels, 0.95) - percentile(levels, 0.05);
}

double wobbleCents(const Signal& x, double hertz)
{
    // Down to complex baseband, then a 10 ms moving average, which nulls the
    // image at twice the frequency when it is a multiple of 100 Hz and damps it otherwise.
    const auto window = static_cast<size_t>(0.01 * sampleRate);
    if (x.size() < 4 * window)
        return 0.0;
    const double w = 2.0 * pi * hertz / sampleRate;
    std::vector<std::complex<double>> base(x.size());
    for (size_t i = 0; i < x.size(); ++i)
        base[i] = static_cast<double>(x[i]) * std::polar(1.0, -w * static_cast<double>(i));
    std::vector<double> phase;
    std::complex<double> sum(0.0, 0.0);
    for (size_t i = 0; i < x.size(); ++i)
    {
        sum += base[i];
        if (i >= window)
            sum -= base[i - window];
        if (i >= window && i % (window / 4) == 0)
            phase.push_back(std::arg(sum));
    }
    // Unwrapped phase steps, each a quarter window apart, as frequency offsets.
    std::vector<double> cents;
    const double step = static_cast<double>(window / 4) / sampleRate;
    for (size_t i = 1; i < phase.size(); ++i)
    {
        double d = phase[i] - phase[i - 1];
        d -= 2.0 * pi * std::round(d / (2.0 * pi));
        const double f = hertz + d / (2.0 * pi * step);
        cents.push_back(1200.0 * std::log2(std::max(f, 1.0) / hertz));
    }
    // Smooth over 20 ms: the pitch, not the jitter of the noise.
    std::vector<double> smooth;
    for (size_t i = 8; i < cents.size(); ++i)
    {
        double s = 0.0;
        for (size_t j = i - 8; j < i; ++j)
            s += cents[j];
        smooth.push_back(s / 8.0);
    }
    double mean = 0.0;
    for (const double c : smooth)
        mean += c / static_cast<double>(smooth.size());
    for (auto& c : smooth)
        c = std::abs(c - mean);
    return percentile(smooth, 0.99);
}

SineResidue sineResidue(const Signal& x, double hertz)
{
    constexpr size_t n = 8192;
    const auto p = powerSpectrum(x, n);
    const double binHz = sampleRate / static_cast<double>(n);
    const auto band = [&](double centre, int spread) {
        const auto k = static_cast<int>(std::round(centre / binHz));
        double sum = 0.0;
        for (int i = std::max(0, k - spread); i <= k + spread && i < static_cast<int>(p.size()); ++i)
            sum += p[static_cast<size_t>(i)];
        return sum;
    };
    // Wide enough for the wobble of a worn cassette around each harmonic.
    const double fundamental = band(hertz, 12);
    double harmonics = 0.0;
    for (int h = 2; h <= 5; ++h)
        harmonics += band(hertz * h, 12 * h);
    std::vector<double> floor;
    for (size_t k = static_cast<size_t>(200.0 / binHz); k < p.size() && k * binHz <= 20000.0; ++k)
    {
        const double nearest = std::round(k * binHz / hertz);
        if (std::abs(k * binHz - nearest * hertz) > 12.0 * binHz * std::max(1.0, nearest))
            floor.push_back(p[k]);
    }
    // The median of a power spectrum's bins is ln 2 of their mean for noise.
    const double noisePerBin = percentile(floor, 0.5) / std::log(2.0);
    const double noise = noisePerBin * (20000.0 - 200.0) / binHz;
    return { toDb(harmonics) - toDb(fundamental), toDb(noise) - toDb(fundamental) };
}

double repeatDb(const Signal& x, int clickAt, double delaySeconds, double directSpan)
{
    const auto peakIn = [&](double from, double to) {
        double peak = 0.0;
        const auto a = std::max<long>(0, clickAt + std::lround(from * sampleRate));
        const auto b = std::min<long>(static_cast<long>(x.size()), clickAt + std::lround(to * sampleRate));
        for (long i = a; i < b; ++i)
            peak = std::max(peak, static_cast<double>(std::abs(x[static_cast<size_t>(i)])));
        return peak;
    };
    const double direct = peakIn(-directSpan - 0.001, directSpan + 0.001);
    const double echo = peakIn(delaySeconds - directSpan - 0.003, delaySeconds + directSpan + 0.003);
    return 20.0 * (std::log10(std::max(echo, 1e-15)) - std::log10(std::max(direct, 1e-15)));
}

} // namespace qel::measure
