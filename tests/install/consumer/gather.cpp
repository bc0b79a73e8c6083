#include <pelta/pelta.h>

#include <cstdio>
#include <vector>

/* At zero offset there is no moveout to correct. */
int main() {
    std::vector<float> trace(100, 0.0f), velocity(100, 2.0f);
    trace[50] = 1.0f;
    NormalMoveout moveout(100, 2.0f, 0.3f, 0.0f, true, false);
    moveout.applyNMO(trace.data(), velocity.data(), nullptr, 100, 0.0f, 0.0f, 0, 100);
    std::printf("%g %g %g\n", trace[49], trace[50], trace[51]);
    return trace[50] != 1.0f;
}
