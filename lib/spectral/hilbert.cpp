#include <pelta/host.h>
#include <pelta/phaseshift.h>

#include <array>
#include <numbers>

namespace {

constexpr int reach = 9;

constexpr auto operatorTaps = [] {
    std::array<float, 2 * reach + 1> taps = {};
    for (int n = -reach; n <= reach; n += 2) taps[n + reach] = static_cast<float>(-2.0 / (std::numbers::pi * n));
    return taps;
}();

}

void applyHilbert(float* datain, float* dataout, int nsamp) {
    auto taps = operatorTaps; /* the host takes them without const */
    conv(2 * reach + 1, -reach, taps.data(), nsamp, 0, datain, nsamp, 0, dataout);
}
