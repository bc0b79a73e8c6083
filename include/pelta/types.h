#ifndef PELTA_TYPES_H
#define PELTA_TYPES_H

/* What several families share: the bin of a spectrum, and the tables in which the processing host says where a trace header
 * keeps its values and what work is in hand. */

/* One bin of a spectrum. An array of n/2 + 1 bins overlays a float array of n + 2. */
typedef struct peltaComplex {
    float r; /* real part */
    float i; /* imaginary part */
} peltaComplex;

/* The short name steps aside where <complex.h> has made it a macro. */
#ifndef complex
typedef peltaComplex complex;
#endif

/* Where each value of a trace header stands in the header's array of floats: entry k is element k - 1. */
typedef struct stdHdrStruct {
    int iffid;     /* field record number */
    int ichan;     /* channel within the record */
    int isource;   /* source location number */
    int icdp;      /* common depth point number */
    int ioffset;   /* signed source to receiver distance */
    int isou_x;    /* source easting */
    int isou_y;    /* source northing */
    int isou_elev; /* source elevation */
    int irec_x;    /* receiver easting */
    int irec_y;    /* receiver northing */
    int irec_elev; /* receiver elevation */
    int icdp_x;    /* common depth point easting */
    int icdp_y;    /* common depth point northing */
    int idelay;    /* time of the first sample, ms */
    int ifb_pick;  /* first-break time, ms */
    int itot_stat; /* total static shift, ms */
    int itlive_s;  /* start of the live range, ms */
    int itfull_s;  /* start of the full-amplitude range, ms */
    int itfull_e;  /* end of the full-amplitude range, ms */
    int itlive_e;  /* end of the live range, ms */
    int itrc_type; /* 1 live, 2 dead */
} stdHdrStruct;

/* Names of the work in hand, each ended by NUL. */
typedef struct globalCharStruct {
    char cproj[16]; /* project */
    char cline[16]; /* line */
    char carea[16]; /* area */
    char cflow[16]; /* flow */
    char cpid[36];  /* process */
    char cpad[28];  /* not used */
} globalCharStruct;

#endif
