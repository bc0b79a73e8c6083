#ifndef PELTA_TESTS_PLAINGRIDDING_H
#define PELTA_TESTS_PLAINGRIDDING_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <vector>

/* Points as the gridding routines take them. */
struct ScatteredPoints {
    std::vector<float> x, y, z;

    void add(float px, float py, float pz) {
        x.push_back(px);
        y.push_back(py);
        z.push_back(pz);
    }
    int count() const { return static_cast<int>(x.size()); }
};

/* Splines in tension the plain way: one padded array, nodes visited one after the other along i and then j. */

struct PlainPoint {
    float x, y, z;
    int index;
    int number = 0; /* in the input: of two points equally near to a node the earlier one wins */
};

struct GriddingProblem {
    int nx = 0, ny = 0;
    double xmin = 0, ymin = 0, xinc = 1, yinc = 1; /* rounded to Real by the work */
    double boundaryTension = 0, interiorTension = 0, epsilon = 1, relax = 1.4, convergeLimit = 0;
    int maxIterations = 100;
    double zeroScale = 0; /* for an RMS of 0 */
    std::vector<PlainPoint> points;

    void take(const ScatteredPoints& given) {
        for (std::size_t k = 0; k < given.x.size(); ++k) points.push_back({given.x[k], given.y[k], given.z[k], 0});
    }
};

template <class Real>
class PlainGridding {
  public:
    explicit PlainGridding(const GriddingProblem& problem) : p(problem), points(problem.points) {
        xmin = static_cast<Real>(p.xmin), ymin = static_cast<Real>(p.ymin);
        xinc = static_cast<Real>(p.xinc), yinc = static_cast<Real>(p.yinc);
        my = p.ny + 4;
        u.assign(static_cast<std::size_t>((p.nx + 4) * my), 0.0f);
        iu.assign(u.size(), 0);
        sw = 2 * my + 2;
        for (std::size_t k = 0; k < points.size(); ++k) points[k].number = static_cast<int>(k);
        setGrid(1);
        store();
        throwAway();
        removeTrend();
        rescale();
        factor();
        setCoefficients();
    }

    /* Node (i, j) at i * ny + j, in z's unit. */
    std::vector<float> solve() {
        while (!(blockX > 3 && blockY > 3) && grid >= 2) divide();
        index();
        while (true) {
            const int old = grid;
            nearest();
            iterate();
            if (grid < 2) break;
            divide();
            index();
            forecast(old);
            iterate();
        }
        std::vector<float> result;
        for (int i = 0; i < p.nx; ++i)
            for (int j = 0; j < p.ny; ++j)
                result.push_back(static_cast<float>(u[sw + i * my + j] * scale + c0 + c1 * i + c2 * j));
        return result;
    }

    int sweeps = 0;
    std::vector<float> u;

    /* One sweep over all nodes of the current stride; returns the largest change. */
    Real sweep() {
        Real largest = 0;
        std::size_t record = 0;
        for (int i = 0; i < blockX; ++i)
            for (int j = 0; j < blockY; ++j) {
                const int node = sw + i * grid * my + j * grid;
                const char state = iu[node];
                if (state == 5) continue;
                const auto at = [&](int k) {
                    return static_cast<Real>(u[node + step(i, di[k], blockX, grid * my, my) + step(j, dj[k], blockY, grid, 1)]);
                };
                Real sum = 0;
                for (int k = 0; k < 12; ++k) sum += coeff[state == 0 ? 0 : 1][k] * at(k);
                if (state != 0) {
                    static constexpr int which[4][4] = {{10, 9, 5, 1}, {8, 9, 6, 3}, {1, 2, 6, 10}, {3, 2, 5, 8}};
                    const std::array<Real, 6>& b = briggs[record++];
                    const int* w = which[state - 1];
                    sum = (sum + a2 * (b[0] * at(w[0]) + b[1] * at(w[1]) + b[2] * at(w[2]) + b[3] * at(w[3]) + b[5])) /
                          (a2 * b[4] + a1);
                }
                const Real old = u[node], value = old * (1 - relax()) + sum * relax();
                if (std::abs(value - old) > largest) largest = std::abs(value - old);
                u[node] = static_cast<float>(value);
            }
        return largest;
    }

  private:
    static constexpr int di[12] = {0, -1, 0, 1, -2, -1, 1, 2, -1, 0, 1, 0};
    static constexpr int dj[12] = {2, 1, 1, 1, 0, 0, 0, 0, -1, -1, -1, -2};

    Real relax() const { return static_cast<Real>(p.relax); }

    /* Steps that would leave the grid are single ones, one by one. */
    static int step(int node, int steps, int count, int stride, int single) {
        int offset = 0;
        for (int s = 0; s < std::abs(steps); ++s) {
            const int direction = steps > 0 ? 1 : -1, next = node + direction;
            offset += direction * (next >= 0 && next < count ? stride : single);
            node = next;
        }
        return offset;
    }

    void setGrid(int stride) {
        grid = stride;
        blockX = (p.nx - 1) / grid + 1;
        blockY = (p.ny - 1) / grid + 1;
        gx = static_cast<Real>(grid) * xinc;
        gy = static_cast<Real>(grid) * yinc;
        rgx = 1 / gx;
        rgy = 1 / gy;
    }
    void divide() {
        setGrid(grid / (factors.empty() ? 1 : factors.back()));
        if (!factors.empty()) factors.pop_back();
    }
    void factor() {
        int common = 1;
        if (p.nx > 2 && p.ny > 2)
            for (int a = p.nx - 1, b = p.ny - 1, d = 2; d <= a && d <= b; ++d)
                while (a % d == 0 && b % d == 0) {
                    a /= d, b /= d, common *= d;
                    factors.push_back(d);
                }
        setGrid(common);
    }
    void assign(PlainPoint& point) const {
        const Real half = static_cast<Real>(0.5);
        const Real i = std::floor((point.x - xmin) * rgx + half), j = std::floor((point.y - ymin) * rgy + half);
        point.index =
            i >= 0 && i < blockX && j >= 0 && j < blockY ? static_cast<int>(i) * blockY + static_cast<int>(j) : 2000000000;
    }
    void sort() {
        const auto distance = [&](const PlainPoint& point) {
            const Real dx = point.x - (xmin + static_cast<Real>(point.index / blockY) * gx);
            const Real dy = point.y - (ymin + static_cast<Real>(point.index % blockY) * gy);
            return dx * dx + dy * dy;
        };
        std::sort(points.begin(), points.end(), [&](const PlainPoint& a, const PlainPoint& b) {
            if (a.index != b.index) return a.index < b.index;
            return distance(a) != distance(b) ? distance(a) < distance(b) : a.number < b.number;
        });
    }
    void drop() {
        std::erase_if(points, [](const PlainPoint& point) { return point.index == 2000000000; });
    }
    void store() {
        for (PlainPoint& point : points) assign(point);
        drop();
    }
    void throwAway() {
        sort();
        points.erase(std::unique(points.begin(), points.end(),
                                 [](const PlainPoint& a, const PlainPoint& b) { return a.index == b.index; }),
                     points.end());
    }
    void index() {
        for (PlainPoint& point : points) assign(point);
        drop();
        sort();
    }
    void removeTrend() {
        const Real rx = 1 / xinc, ry = 1 / yinc;
        double sx = 0, sy = 0, sz = 0, sxx = 0, sxy = 0, syy = 0, sxz = 0, syz = 0;
        for (const PlainPoint& q : points) {
            const double x = (q.x - xmin) * rx, y = (q.y - ymin) * ry, z = q.z;
            sx += x, sy += y, sz += z, sxx += x * x, sxy += x * y, syy += y * y, sxz += x * z, syz += y * z;
        }
        const double n = static_cast<double>(points.size());
        const double d = n * sxx * syy + 2 * sx * sy * sxy - n * sxy * sxy - sx * sx * syy - sy * sy * sxx;
        if (d == 0.0) return;
        c0 = (sz * sxx * syy + sx * sxy * syz + sy * sxy * sxz - sz * sxy * sxy - sx * sxz * syy - sy * syz * sxx) / d;
        c1 = (n * sxz * syy + sz * sy * sxy + sy * sx * syz - n * sxy * syz - sz * sx * syy - sy * sy * sxz) / d;
        c2 = (n * sxx * syz + sx * sy * sxz + sz * sx * sxy - n * sxy * sxz - sx * sx * syz - sz * sy * sxx) / d;
        for (PlainPoint& q : points) {
            const double x = (q.x - xmin) * rx, y = (q.y - ymin) * ry;
            q.z = static_cast<float>(q.z - (c0 + c1 * x + c2 * y));
        }
    }
    void rescale() {
        double sum = 0;
        for (const PlainPoint& q : points) sum += static_cast<double>(q.z) * q.z;
        const double rms = points.empty() ? 0.0 : std::sqrt(sum / static_cast<double>(points.size()));
        scale = rms == 0.0 ? p.zeroScale : rms;
        const double reciprocal = rms == 0.0 ? p.zeroScale : 1 / rms;
        for (PlainPoint& q : points) q.z = static_cast<float>(q.z * reciprocal);
    }
    void setCoefficients() {
        const Real e2 = static_cast<Real>(p.epsilon) * static_cast<Real>(p.epsilon), e4 = e2 * e2;
        const Real t = static_cast<Real>(p.interiorTension), loose = 1 - t;
        ep2 = e2, em2 = 1 / e2, onePlus = 1 + e2, twoPlus = 2 + 2 * e2, twoPlusM = 2 + 2 / e2;
        const Real a0 = 1 / (6 * e4 * loose + 10 * e2 * loose + 8 * loose - 2 * (1 + e2) + 4 * t * (1 + e2));
        a1 = 2 * loose * (1 + e4);
        a2 = 2 - t + 2 * loose * e2;
        for (int k : {0, 11}) coeff[0][k] = -e4 * loose * a0, coeff[1][k] = -e4 * loose;
        for (int k : {1, 3, 8, 10}) coeff[0][k] = -2 * loose * e2 * a0, coeff[1][k] = -2 * loose * e2;
        for (int k : {2, 9}) coeff[0][k] = (4 * loose * (1 + e2) + t) * e2 * a0, coeff[1][k] = 2 * loose * (1 + e2) * e2;
        for (int k : {4, 7}) coeff[0][k] = -loose * a0, coeff[1][k] = -loose;
        for (int k : {5, 6}) coeff[0][k] = (4 * loose * (1 + e2) + t) * a0, coeff[1][k] = 2 * loose * (1 + e2);
    }
    void nearest() {
        const Real small = static_cast<Real>(0.05) * std::min(gx, gy);
        for (int i = 0; i < p.nx; i += grid)
            for (int j = 0; j < p.ny; j += grid) iu[sw + i * my + j] = 0;
        briggs.clear();
        int last = -1;
        for (const PlainPoint& q : points) {
            if (q.index == last) continue;
            last = q.index;
            const int i = last / blockY, j = last % blockY, node = sw + i * grid * my + j * grid;
            Real dx = (q.x - (xmin + static_cast<Real>(i) * gx)) * rgx, dy = (q.y - (ymin + static_cast<Real>(j) * gy)) * rgy;
            if (std::abs(dx) < small && std::abs(dy) < small) {
                iu[node] = 5;
                u[node] = q.z;
                continue;
            }
            iu[node] = dx >= 0 ? (dy >= 0 ? 1 : 4) : (dy >= 0 ? 2 : 3);
            dx = std::abs(dx), dy = std::abs(dy);
            std::array<Real, 6> b;
            const Real half = static_cast<Real>(0.5), xys = 1 + dx + dy, btemp = 2 * onePlus / ((dx + dy) * xys);
            b[0] = 1 - half * (dx + dx * dx) * btemp;
            b[3] = half * (2 * ep2 - (dy + dy * dy) * btemp);
            b[1] = (2 * ep2 * xys - 4 * dy) / xys;
            b[2] = 2 * (dy - dx + 1) / xys;
            b[4] = b[0] + b[1] + b[2] + b[3] + btemp;
            b[5] = btemp * q.z;
            briggs.push_back(b);
        }
    }
    void setPads() {
        const Real tb = static_cast<Real>(p.boundaryTension), e = static_cast<Real>(p.epsilon);
        const Real x0 = 4 * (1 - tb) / (2 - tb), x1 = (3 * tb - 2) / (2 - tb), yd = 2 * e * (1 - tb) + tb;
        const Real y0 = 4 * e * (1 - tb) / yd, y1 = (tb - 2 * e * (1 - tb)) / yd;
        const int ge = grid * my, se = sw + (p.nx - 1) * my, nw = sw + p.ny - 1, ne = se + p.ny - 1;
        const auto r = [&](int k) { return static_cast<Real>(u[k]); };
        const auto set = [&](int k, Real value) { u[k] = static_cast<float>(value); };
        for (int i = 0; i < p.nx; i += grid) {
            const int s = sw + i * my, n = nw + i * my;
            set(s - 1, y0 * r(s) + y1 * r(s + grid));
            set(n + 1, y0 * r(n) + y1 * r(n - grid));
        }
        for (int j = 0; j < p.ny; j += grid) {
            const int w = sw + j, ea = se + j;
            set(w - my, x1 * r(w + ge) + x0 * r(w));
            set(ea + my, x1 * r(ea - ge) + x0 * r(ea));
        }
        set(sw - my - 1, r(sw - my + grid) + r(sw + ge - 1) - r(sw + ge + grid));
        set(nw - my + 1, r(nw - my - grid) + r(nw + ge + 1) - r(nw + ge - grid));
        set(se + my - 1, r(se + my + grid) + r(se - ge - 1) - r(se - ge + grid));
        set(ne + my + 1, r(ne + my - grid) + r(ne - ge + 1) - r(ne - ge - grid));
        const auto ring = [&](int i, int j, bool isAlongX, bool isFar) {
            const int node = sw + i * grid * my + j * grid;
            const auto place = [&](int k) { return node + step(i, di[k], blockX, ge, my) + step(j, dj[k], blockY, grid, 1); };
            const auto v = [&](int k) { return r(place(k)); };
            if (isAlongX) {
                const Real across = em2 * (v(1) + v(3) - v(8) - v(10)), middle = twoPlusM * (v(9) - v(2));
                if (isFar) set(place(0), -(across - v(11) + middle));
                else set(place(11), v(0) + across + middle);
            } else {
                const Real across = ep2 * (v(3) + v(10) - v(1) - v(8)), middle = twoPlus * (v(5) - v(6));
                if (isFar) set(place(7), -(across - v(4) + middle));
                else set(place(4), v(7) + across + middle);
            }
        };
        for (int i = 0; i < blockX; ++i) ring(i, 0, true, false), ring(i, blockY - 1, true, true);
        for (int j = 0; j < blockY; ++j) ring(0, j, false, false), ring(blockX - 1, j, false, true);
    }
    void iterate() {
        const Real limit = static_cast<Real>(p.convergeLimit) / static_cast<Real>(grid);
        int count = 0;
        double change;
        do {
            setPads();
            change = sweep() * scale;
            ++sweeps;
        } while (change > limit && ++count < p.maxIterations);
    }
    void forecast(int old) {
        const auto at = [&](int i, int j) -> float& { return u[sw + i * my + j]; };
        const auto state = [&](int i, int j) -> char& { return iu[sw + i * my + j]; };
        const auto fraction = [&](int d) { return static_cast<Real>(d) / static_cast<Real>(old); };
        for (int i = 0; i < p.nx - 1; i += old)
            for (int j = 0; j < p.ny - 1; j += old) {
                const Real u00 = at(i, j), u10 = at(i + old, j), u01 = at(i, j + old), u11 = at(i + old, j + old);
                const Real s1 = u10 - u00, s2 = u01 - u00, s3 = u11 - u00 - s1 - s2;
                for (int k = 0; k < old; k += grid)
                    for (int l = 0; l < old; l += grid) {
                        state(i + k, j + l) = k == 0 && l == 0 ? 5 : 0;
                        if (k == 0 && l == 0) continue;
                        at(i + k, j + l) = static_cast<float>(u00 + s1 * fraction(k) + (s3 * fraction(k) + s2) * fraction(l));
                    }
            }
        for (int j = 0; j < p.ny - 1; j += old)
            for (int l = 0; l < old; l += grid) {
                const Real from = at(p.nx - 1, j), to = at(p.nx - 1, j + old);
                state(p.nx - 1, j + l) = l == 0 ? 5 : 0;
                if (l) at(p.nx - 1, j + l) = static_cast<float>(from + (to - from) * fraction(l));
            }
        for (int i = 0; i < p.nx - 1; i += old)
            for (int k = 0; k < old; k += grid) {
                const Real from = at(i, p.ny - 1), to = at(i + old, p.ny - 1);
                state(i + k, p.ny - 1) = k == 0 ? 5 : 0;
                if (k) at(i + k, p.ny - 1) = static_cast<float>(from + (to - from) * fraction(k));
            }
        state(p.nx - 1, p.ny - 1) = 5;
    }

    GriddingProblem p;
    std::vector<PlainPoint> points;
    Real xmin, ymin, xinc, yinc, gx, gy, rgx, rgy;
    int my, sw, grid, blockX, blockY;
    std::vector<int> factors;
    std::vector<char> iu;
    std::vector<std::array<Real, 6>> briggs;
    double c0 = 0, c1 = 0, c2 = 0, scale = 0;
    Real coeff[2][12], a1, a2, ep2, em2, onePlus, twoPlus, twoPlusM;
};

#endif
