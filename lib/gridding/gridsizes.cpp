#include "gridding/gridsizes.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>

#include "gridding/levels.h"

double griddingCost(int* factors, int nx, int ny) {
    int common = std::gcd(nx, ny), count = 0;
    int xnode = nx, ynode = ny;
    if (common > 1) {
        count = tension::primeFactors(common, factors);
        xnode = nx / common;
        ynode = ny / common;
        if (xnode <= 2 || ynode <= 2) {
            const int factor = factors[--count];
            common /= factor;
            xnode *= factor;
            ynode *= factor;
        }
    }
    double cost = static_cast<double>(xnode) * ynode * std::max(xnode, ynode);
    while (common > 1) {
        const int factor = factors[--count];
        ynode *= factor;
        xnode *= factor;
        common /= factor;
        cost += static_cast<double>(xnode) * ynode * factor;
    }
    return cost;
}

void Suggestions::add(const SURFACE_SUGGESTION& suggestion) {
    SURFACE_SUGGESTION* const end = _best + _count;
    SURFACE_SUGGESTION* const place =
        std::find_if(_best, end, [&](const SURFACE_SUGGESTION& other) { return suggestion.factor > other.factor; });
    if (place == _best + most) return;
    std::copy_backward(place, _best + std::min(_count, most - 1), _best + std::min(_count + 1, most));
    *place = suggestion;
    _count = std::min(_count + 1, most);
}

namespace {

/* Calls visit with every 2^a 3^b 5^c, a >= 1, from size up to twice that, in the order of a, b and c. */
template <class Visit>
void eachSmoothSize(int size, Visit visit) {
    const std::int64_t largest = std::min<std::int64_t>(2 * std::int64_t{size}, std::numeric_limits<int>::max());
    for (std::int64_t twos = 2; twos <= largest; twos *= 2)
        for (std::int64_t threes = twos; threes <= largest; threes *= 3)
            for (std::int64_t fives = threes; fives <= largest; fives *= 5)
                if (fives >= size) visit(static_cast<int>(fives));
}

}

Suggestions quickerSizes(int* factors, int nx, int ny) {
    const double usual = griddingCost(factors, nx, ny);
    Suggestions suggestions;
    eachSmoothSize(nx, [&](int otherNx) {
        eachSmoothSize(ny, [&](int otherNy) {
            const double cost = griddingCost(factors, otherNx, otherNy);
            if (cost < usual) suggestions.add({otherNx, otherNy, usual / cost});
        });
    });
    return suggestions;
}
