#include <gtest/gtest.h>
#include <pelta/trimodel.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include "mesh/records.h"
#include "support/meshverifier.h"

/* The linker sends the library's allocations through these: one of them can be made to fail. */

namespace {

long allocationsUntilFailure = -1;
std::size_t bytesAsked = 0;

bool fails() { return allocationsUntilFailure >= 0 && allocationsUntilFailure-- == 0; }

}

extern "C" {

void* __real_malloc(std::size_t bytes);
void* __real_calloc(std::size_t count, std::size_t bytes);
void* __wrap_malloc(std::size_t bytes);
void* __wrap_calloc(std::size_t count, std::size_t bytes);

void* __wrap_malloc(std::size_t bytes) {
    bytesAsked += bytes;
    return fails() ? nullptr : __real_malloc(bytes);
}
void* __wrap_calloc(std::size_t count, std::size_t bytes) {
    bytesAsked += count * bytes;
    return fails() ? nullptr : __real_calloc(count, bytes);
}
}

namespace {

/* Adds points with functions of growing length and interpolates between; returns how many points were taken. */
int work(triModel& mesh) {
    int taken = 0;
    std::vector<float> ordinates(60), scratch(120);
    for (int i = 0; i < 150; ++i) {
        double x = 100.0 * std::cos(2.4 * i) * std::sqrt(i), y = 100.0 * std::sin(2.4 * i) * std::sqrt(i);
        int pairs = i % 10 == 9 ? 4000 : 1 + i % 7;
        std::vector<float> values(static_cast<std::size_t>(pairs), 1500.0f);
        taken += mesh.triAdd(&x, &y, values.data(), values.data(), &pairs);
        if (i % 20 == 19) {
            float from = 0.0f, step = 2.0f;
            int count = 60;
            mesh.triInterpolate(&x, &y, &from, &step, scratch.data(), ordinates.data(), &count);
        }
    }
    return taken;
}

bool answers(triModel& mesh) {
    double x = 3.0, y = 4.0;
    float from = 0.0f, step = 1.0f, value = -1.0f, scratch[2];
    int one = 1;
    mesh.triInterpolate(&x, &y, &from, &step, scratch, &value, &one);
    return value == 1500.0f || value == 0.0f;
}

TEST(TriModelWithoutMemory, AnyFailedAllocationLeavesAMeshThatAnswers) {
    bool isEveryOneTried = false;
    for (long nth = 0; !isEveryOneTried && nth < 10000; ++nth) {
        triModel mesh;
        allocationsUntilFailure = nth;
        const int isStarted = mesh.triStart();
        const int taken = isStarted ? work(mesh) : 0;
        isEveryOneTried = allocationsUntilFailure >= 0;
        allocationsUntilFailure = -1;
        if (!isStarted) {
            EXPECT_EQ(mesh.model, nullptr) << "allocation " << nth;
            continue;
        }
        const MeshCounts counts = expectLinked(mesh);
        EXPECT_EQ(counts.vertices, static_cast<std::size_t>(taken) + 4) << "allocation " << nth;
        EXPECT_EQ(counts.faces, 2 * static_cast<std::size_t>(taken) + 2) << "allocation " << nth;
        EXPECT_TRUE(answers(mesh)) << "allocation " << nth;
        mesh.triClear();
        if (isEveryOneTried) {
            EXPECT_EQ(taken, 150);
            EXPECT_GT(nth, 10);
        }
    }
    EXPECT_TRUE(isEveryOneTried);
}

/* A function too long for memory that is at hand, so that copying it to a corner of the square takes an allocation. */
int addLong(triModel& mesh, double x, double y, float value) {
    int pairs = 200000;
    std::vector<float> values(static_cast<std::size_t>(pairs), value);
    return mesh.triAdd(&x, &y, values.data(), values.data(), &pairs);
}

TEST(TriModelWithoutMemory, ARefreshThatFailedIsRepeated) {
    for (long nth = 0; nth < 4; ++nth) {
        triModel mesh;
        ASSERT_EQ(mesh.triStart(), 1);
        ASSERT_EQ(addLong(mesh, 3.0, 4.0, 1500.0f), 1);
        allocationsUntilFailure = 2 * nth; /* of a corner's two, a record and its place in the list */
        EXPECT_EQ(mesh.tri_update(), 0) << "corner " << nth;
        allocationsUntilFailure = -1;
        EXPECT_EQ(mesh.model->Cupdate, 1);
        for (int corner = 0; corner < 4; ++corner) EXPECT_EQ(mesh.model->CV[corner]->nabs, corner < nth ? 200000 : 1);
        allocationsUntilFailure = 0;
        EXPECT_TRUE(answers(mesh));
        allocationsUntilFailure = -1;
        EXPECT_EQ(mesh.model->Cupdate, 1) << "although the hull was made";
        EXPECT_TRUE(answers(mesh));
        EXPECT_EQ(mesh.model->Cupdate, 0);
        for (const Vertex* corner : mesh.model->CV) EXPECT_EQ(corner->nabs, 200000);
        expectLinked(mesh);
    }
}

TEST(TriModelMemory, APointTakesLessThanTwelveHundredBytes) {
    constexpr std::size_t most = 12 * 1024 / 10;
    for (const std::size_t count : {1000, 1500, 10000, 30000}) {
        const std::size_t before = bytesAsked;
        triModel mesh;
        ASSERT_EQ(mesh.triStart(), 1);
        for (std::size_t i = 0; i < count; ++i) {
            double x = 100.0 * std::cos(2.4 * static_cast<double>(i)) * std::sqrt(i);
            double y = 100.0 * std::sin(2.4 * static_cast<double>(i)) * std::sqrt(i);
            float time = 0.0f, velocity = 1500.0f;
            int pairs = 1;
            ASSERT_EQ(mesh.triAdd(&x, &y, &time, &velocity, &pairs), 1);
        }
        EXPECT_LT((bytesAsked - before) / count, most) << count << " points";
    }
}

bool saysWhatItsSidesSay(const Face* face) {
    const FaceRecord* const record = recordOf(face);
    const EdgeUse* side = face->eu;
    for (int i = 0; i < 3; ++i, side = side->euCW)
        if (record->x[i] != side->vu->v->x || record->y[i] != side->vu->v->y || record->behind[i] != side->euMate->f)
            return false;
    return true;
}

/* Where it does not a location would still end right, but by a long way round. */
TEST(TriModelFaceRecord, SaysWhatItsSidesSay) {
    std::mt19937 engine(5);
    std::uniform_real_distribution<double> uniform(-1000.0, 1000.0);
    std::uniform_int_distribution<int> small(-6, 6);
    testing::internal::CaptureStdout(); /* of points on lines */
    for (const int kind : {0, 1, 2, 3}) {
        triModel mesh;
        ASSERT_EQ(mesh.triStart(), 1);
        for (int i = 0; i < 400; ++i) {
            double x = kind == 0 ? uniform(engine) : small(engine), y = kind <= 1 ? uniform(engine) : small(engine);
            if (kind == 3) { /* row after row, where every point is joined to all that is left of the row before */
                x = 25.0 * (i % 40);
                y = 25.0 * (i / 40);
            }
            float time = 0.0f, velocity = 1500.0f;
            int pairs = 1;
            mesh.triAdd(&x, &y, &time, &velocity, &pairs);
            for (const Face* face = mesh.model->f; face; face = face->fNext)
                ASSERT_TRUE(saysWhatItsSidesSay(face)) << "kind " << kind << ", point " << i;
        }
    }
    testing::internal::GetCapturedStdout();
}

}
