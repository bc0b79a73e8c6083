#ifndef PELTA_TRIMODEL_H
#define PELTA_TRIMODEL_H

/* Functions of one variable (say, velocity against time) known at scattered places, and from them at any place: for velocity
 * functions that were picked here and there on a survey and are wanted at every trace.
 *
 * Example in C++:
 *     const double places[3][2] = {{0, 0}, {1000, 0}, {0, 1000}};
 *     float times[2] = {0, 1000}, velocities[3][2] = {{1500, 2000}, {1600, 2200}, {1500, 2100}};
 *     triModel mesh;
 *     mesh.triStart();
 *     for (int k = 0; k < 3; ++k) {
 *         double x = places[k][0], y = places[k][1];
 *         int pairs = 2;
 *         mesh.triAdd(&x, &y, times, velocities[k], &pairs);
 *     }
 *     double x = 250, y = 500;
 *     float first = 500, step = 250, work[6], velocity[3];
 *     int count = 3;
 *     mesh.triInterpolate(&x, &y, &first, &step, work, velocity, &count);
 *     std::printf("%g m/s at 500 ms, %g m/s at 1000 ms\n", velocity[0], velocity[2]);
 * Output:
 *     1812.5 m/s at 500 ms, 2100 m/s at 1000 ms
 */

#include <stddef.h>

#include "export.h"

#ifdef __cplusplus

/* A Delaunay triangulation that grows point by point, planar interpolation inside the hull of the points, extrapolation outside.
 *
 * The mesh lies in a square whose corners are vertices too, so that every point of the square lies in a face. All tests are
 * exact comparisons of double-precision products: no tolerance. Records are linked by pointers; they belong to the model and
 * live until triClear.
 *
 * Flips: C. L. Lawson, Software for C1 surface interpolation (1977). Walking location and insertion: P. J. Green and R. Sibson,
 * Computing Dirichlet tessellations in the plane, The Computer Journal 21 (1978). */

typedef double Coord; /* a place */
typedef double Cflt;  /* what is derived from places: circumcentres, squared radii */

typedef struct VStruct Vertex;         /* a control point */
typedef struct VUStruct VertexUse;     /* a corner of a face */
typedef struct EUStruct EdgeUse;       /* a side of a face */
typedef struct EStruct Edge;           /* both sides of an edge */
typedef struct FStruct Face;           /* a triangle */
typedef struct MStruct Model;          /* a mesh */
typedef struct HStruct Hull;           /* the hull of its points */
typedef struct VHStruct VertexHull;    /* a vertex of the hull */
typedef struct MALLOC_TRACKER Tracker; /* a list of allocations */

/* One allocation of a model, in a list. */
struct MALLOC_TRACKER {
    void* p;       /* what was allocated */
    Tracker* next; /* null at the end */
};

/* A control point with its function. The record is longer than the structure: nabs abscissae, and behind them nabs ordinates. */
struct VStruct {
    VertexUse* vu; /* one of its uses */
    Coord x, y;    /* its place */
    int nabs;      /* pairs of its function */
    float va[2];   /* the first of its abscissae */
};

/* A corner of a face, or of the outside of the square. */
struct VUStruct {
    EdgeUse* eu;                /* the side that starts here */
    VertexUse *vuPrev, *vuNext; /* the ring of all uses of the vertex */
    Vertex* v;                  /* the vertex */
};

/* A side of a face, directed: a face lies to the right of its sides. */
struct EUStruct {
    Face* f;         /* null outside the square */
    VertexUse* vu;   /* its start */
    EdgeUse* euMate; /* the same edge in the neighbouring face, the other way round */
    EdgeUse* euCW;   /* next side of the face, clockwise with y upwards */
    EdgeUse* euCCW;  /* the one before */
    Edge* e;         /* its edge */
};

/* An edge between two vertices. */
struct EStruct {
    EdgeUse* eu; /* one of its two uses */
    int fixed;   /* 1: a side of the square, never flipped */
};

/* A face: a triangle of the mesh. */
struct FStruct {
    Model* m;            /* its mesh */
    Face *fPrev, *fNext; /* the list of all faces, null at both ends */
    EdgeUse* eu;         /* after an insertion, the side opposite the new point */
    Cflt xc, yc, rs;     /* circumcentre and squared radius; rs is -1 for corners on a line */
};

/* A vertex of the hull. */
struct VHStruct {
    VertexHull *vhPrev, *vhNext; /* ring, clockwise with y upwards */
    Vertex* v;                   /* the vertex */
    Cflt x, y;                   /* a point at distance 1 from the vertex, out of the hull between its two sides */
};

/* The hull of the points. */
struct HStruct {
    int n;          /* records in the ring */
    VertexHull* vh; /* one of them, null without points */
};

/* A mesh. */
struct MStruct {
    Face* f;                               /* all faces */
    Coord xmin, ymin, xmax, ymax;          /* not used */
    int eps;                               /* not used */
    size_t sma, sfa, seua, sea, svua, sva; /* not used */
    void* ma;                              /* not used */
    Face* Fcur;                            /* where the next location starts: the face found last */
    int Cupdate;                           /* 1: the points changed since hull and corners were made */
    Coord Xc[4], Yc[4];                    /* corners of the square */
    float Vc[4];                           /* not used */
    Vertex* CV[4];    /* vertices at the corners; they carry the function of the nearest point linked to them */
    int npnts;        /* 0: records come from tracked memory; 1 or more: from the pool */
    int mbytes;       /* the pool's size in bytes */
    char* pntr;       /* its next free byte */
    int mused;        /* bytes used of it */
    Hull hull;        /* of the points, without the square's corners */
    Tracker* tracker; /* everything to be freed */
};

/* A mesh with functions at its vertices. */
class PELTA_API triModel {
  public:
    /* A model without a mesh: triStart makes one. */
    triModel();
    ~triModel();
    triModel(const triModel&) = delete;
    triModel& operator=(const triModel&) = delete;

    /* Makes an empty mesh in the square from -40000000 to 40000000 in x and y. 1 on success, 0 when memory ran out. A model
     * that stands already is cleared first. */
    int triStart();

    /* Adds a point with its function. 1 when the point was added, or took the place of the vertex that stood there exactly;
     * 0 when it lies outside the square (said on standard output), when a coordinate is not a number, when memory ran out or
     * before triStart: the mesh is as it was.
     *   x, y   place
     *   abs    [*nabs] abscissae, ascending, copied
     *   ord    [*nabs] ordinates, copied
     *   nabs   pairs; of a negative count there are none
     * Points in spatial order are found fastest; in any order the cost of a point hardly grows with their number. */
    int triAdd(Coord* x, Coord* y, float* abs, float* ord, int* nabs);

    /* The function of the vertex that stands exactly at a place.
     *   abs, ord  [*nabs] out, room for the vertex's pairs
     *   nabs      out: the count of pairs; 0 where there is no vertex or the place is outside the square: abs and ord are
     *             left alone then */
    void triGet(Coord* x, Coord* y, float* abs, float* ord, int* nabs);

    /* Frees the mesh; triStart makes a new one. */
    void triClear();

    /* Prints every face with centre and squared radius of its circumcircle, and its corners unless one of them has a
     * coordinate of the square's corners. The next location starts at the first face. */
    void triPrint();

    /* The function at a place, on a regular grid of abscissae.
     *   x, y       place
     *   a0, ainc   first abscissa, and their spacing (above 0)
     *   wrk        [2 * *nord] scratch
     *   ord        [*nord] out: the ordinates at *a0 + i * *ainc
     *   nord       count
     * Inside the hull of the points: each corner's function of the face is resampled (tri_interpolate) and the three are
     * weighted as a plane through them would be. Outside: the functions of the nearest visible hull vertex and its neighbour,
     * weighted so that the result runs from one to the other between the bisectors of the hull's angles and stays as it is
     * along lines parallel to the hull's side. One point: its function everywhere; two points or a line of points: between
     * the feet of perpendiculars, constant beyond the ends. A model without points, or none, gives zeros.
     * Vertices without pairs count as 0 everywhere. Kept on purpose: see tri_interpolate on the first sample. */
    void triInterpolate(Coord* x, Coord* y, float* a0, float* ainc, float* wrk, float* ord, int* nord);

    /* --- What the above is made of: public for inspection, not meant to be called. --- */

    void tri_add_ptr(Tracker** list, void* p); /* puts a node before the list */
    void tri_rem_ptr(Tracker** list, void* p); /* takes the node of p out and frees it, not p; nothing where there is none */
    void* trimalloc(Tracker** list, size_t bytes); /* allocates and lists, a null result too */
    void trifree(Tracker** list, void* p);         /* unlists and frees; nothing where p is not listed */
    void trigfree(Tracker** list, void* p);        /* the same */
    void tri_free_all(Tracker** list);             /* frees all that is listed, and the list */
    /* n bytes of the pool; null with a message where it has no more, and before triStart. */
    char* tri_malloc_mem(int n);

    void tri_vu_eu(VertexUse* vu, EdgeUse* eu);     /* the side starts at the corner */
    void tri_eu_eu(EdgeUse* eu1, EdgeUse* eu2);     /* the second side follows the first, clockwise */
    void tri_vu_vu(VertexUse* vu1, VertexUse* vu2); /* the second use follows the first in the vertex's ring */
    void tri_mate(EdgeUse* eu1, EdgeUse* eu2);      /* the two sides of an edge */
    void tri_vu_loop(VertexUse* vu1, VertexUse* vu2, VertexUse* vu3); /* a ring of three uses */
    void tri_eu_loop(EdgeUse* eu1, EdgeUse* eu2, EdgeUse* eu3);       /* the three sides of a face, clockwise */

    /* 1 when (x, y) lies to the left of the line from 1 to 2, 0 on it, -1 otherwise. */
    int tri_left(Coord x1, Coord y1, Coord x2, Coord y2, Coord x, Coord y);
    /* The same. */
    int tri_left_1(Coord x1, Coord y1, Cflt x2, Cflt y2, Coord x, Coord y);
    /* 1 when the point is to the left of none of the face's sides. */
    int tri_inside(Face* F, Coord x, Coord y);
    /* 1 when the segment from 1 to 2 crosses or touches the side. */
    int tri_sect(EdgeUse* EU, Coord x1, Coord y1, Coord x2, Coord y2);
    /* 1 when a corner of the face has exactly these coordinates; its use goes to VU. */
    int tri_onvertex(Coord x, Coord y, Face* F, VertexUse** VU);
    /* Circumcentre and squared radius. Points on a line: a message, *rs is -1, the centre is left alone. */
    void tri_circ(Coord x1, Coord y1, Coord x2, Coord y2, Coord x3, Coord y3, Cflt* xc, Cflt* yc, Cflt* rs);
    /* The circumcircle of the face, stored in it. */
    void tri_circle(Face* F);
    /* Walks from *F (null: the first face) to a face that contains the point. A point on a side or corner belongs to the face
     * that the walk meets first. Where rounding leaves no such face, or no way to it: the face it is least outside of. */
    void tri_face(Coord x, Coord y, Face** F);
    /* Flips the side F.eu and those that come to face the point (x, y) until their circumcircles exclude it. */
    void tri_opt(Face* F, Coord x, Coord y);
    /* Gives the uses of an old vertex to a new one and frees the old. */
    void tri_overwrite(Vertex* newer, Vertex* older);
    /* Makes the two faces of the square with these corners, anticlockwise from the south-west, each with a function of 0; V
     * receives its vertices. 0 when memory ran out or before triStart. */
    int tri_init_0(Coord* x, Coord* y, Vertex** V);
    /* Prints a face with its circumcircle and corners. */
    void tri_printface(Face* F);

    /* Gives each corner of the square the function of the nearest vertex linked to it; 0 when memory ran out. */
    int tri_update();
    /* Makes the hull's ring; 0 when there is no point (and says so) or memory ran out. */
    int tri_update_hull();
    /* 1 when the point lies outside the hull, or the hull has fewer than three vertices. */
    int tri_out_hull(Coord x, Coord y);
    /* The function at a place outside the hull, with the arguments of triInterpolate. */
    void tri_extrap(Coord* x, Coord* y, float* a0, float* ainc, float* wrk, float* ord, int* nord);
    /* The same between two vertices of the hull alone: weighted by the foot of the perpendicular from the place to the line
     * through them, constant beyond both. */
    void tri_degenr(VertexHull* VH, VertexHull* VH0, Coord* x, Coord* y, float* a0, float* ainc, float* wrk, float* ord,
                    int* nord);
    /* 1 when the hull's side between the two is not extrapolated between bisectors but by tri_degenr: at one of them, v, the
     * slopes to its neighbours' bisector points p and n cancel, (vx - px)(vy - ny) = -(vy - py)(vx - nx) exactly. Kept on
     * purpose: the sign, which finds points mirrored about an upright or a level line instead of points on a line. */
    int tri_deg(VertexHull* VH, VertexHull* VH0);
    /* The point at distance 1 from place 2, out of a hull that goes clockwise from 1 over 2 to 3, between its two sides. */
    void tri_bisector(Coord x1, Coord y1, Coord x2, Coord y2, Coord x3, Coord y3, Cflt* x, Cflt* y);
    /* x of the point where the parallel through 4 to the line from 1 to 3 meets the line from 1 to 2; with x and y exchanged,
     * its y. */
    double tri_x_y(double x1, double y1, double x2, double y2, double x3, double y3, double x4, double y4);
    /* x of the foot of the perpendicular from 3 to the line from 1 to 2; with x and y exchanged, its y. */
    double tri_proj(double x1, double y1, double x2, double y2, double x3, double y3);

    /* Resamples a function to a grid, straight between its pairs and constant beyond them, in single precision.
     *   xin, yin  [n] abscissae, ascending, and ordinates
     *   xs, xi    first abscissa of the grid, and its spacing (above 0)
     *   y         [ny] out
     * Kept on purpose: where the first pair stands at or behind xs, the samples before it are written and then written over
     * from the start, so that y[0] becomes the value at the first grid abscissa behind the first pair and the end repeats the
     * last ordinate. */
    void tri_interpolate(float* xin, float* yin, int n, float xs, float xi, int ny, float* y);
    /* The plane through z1, z2, z3 at three places, at (ix, iy), for numt planes at a time, in double precision. vel may be z1.
     * Places on a line: of the two that are nearest, weighted by the other's distance. */
    void tri_initialize(double ix, double iy, float* vel, int numt, double x1, double y1, float* z1, double x2, double y2,
                        float* z2, double x3, double y3, float* z3);

    /* --- The state. --- */

    Model* model; /* null before triStart and after triClear */
    bool _isOpen; /* not used */
};

#endif
#endif
