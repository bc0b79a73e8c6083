#ifndef PELTA_NUMERIC_H
#define PELTA_NUMERIC_H

/* Small numerical work around a tool's menu and its tables: lists of numbers that a user typed, the question whether a point lies
 * inside a polygon, and values between the entries of a table.
 *
 * Example:
 *     char typed[] = "5, 10, 60 80";
 *     int *corners = NULL, count;
 *     peltaParseInt(typed, &corners, &count);
 *     printf("%d corners, the last one %d Hz\n", count, corners[count - 1]);
 *     free(corners);
 *     float x[] = {0, 400, 400, 0}, y[] = {0, 0, 300, 300};
 *     printf("inside: %d, outside: %d\n", peltaPnPolygon(4, x, y, 100, 100), peltaPnPolygon(4, x, y, 500, 100));
 *     float entries[] = {0, 1, 2, 3}, squares[] = {0, 1, 4, 9}, c[4], d[4], value, error;  // counted from one
 *     polint(entries, squares, 3, 2.5f, &value, &error, c, d);
 *     printf("between the entries: %g\n", value);
 * Output:
 *     4 corners, the last one 80 Hz
 *     inside: 1, outside: 0
 *     between the entries: 6.25
 */

#include "export.h"

PELTA_BEGIN_C

/* Integers of a list that a user typed.
 *   cstring  the text; changed, as strtok does it: a null byte takes the place of the delimiter behind each number. A null pointer
 *            is an empty text
 *   ival     the array, null or from malloc; realloc fits it to the numbers, and the caller frees it
 *   num      receives the count; with 0 the array stays as it was
 * Numbers stand between blanks, tabs, line ends, any of ! @ # $ % ^ & * ( ) _ + - = { } | \ : ' ? , < > and the three bytes of
 * the UTF-8 replacement character. So there are no negative numbers: "5 -3" is 5 and 3. The full stop, the slash and the semicolon
 * are no delimiters: "1/2" is one number, and what does not belong to it is ignored, which leaves 1; text that starts otherwise
 * is 0. Values go through a long, which keeps to its range, and are cut to the low 32 bits.
 * Where memory ends, the list ends with the last number that could be stored. */
PELTA_API void peltaParseInt(char* cstring, int** ival, int* num);

/* Floats of a list that a user typed: as peltaParseInt, with fval for the array.
 * Each value is the float nearest to the decimal number, as strtof gives it, with the full stop as decimal point in every locale.
 * An exponent cannot have a sign: "1e3" is 1000, but "1e-3" is 1 and 3. Hexadecimal numbers, "inf" and "nan" are taken. */
PELTA_API void peltaParseFloat(char* cstring, float** fval, int* num);

/* Floats of a list in groups, with a slash between groups and within them all as in peltaParseFloat.
 *   cstring  the text, kept; a null pointer is an empty text
 *   fval     the array, large enough: receives the values of all groups one after another
 *   num      the counts, large enough: receives the count of each group
 *   n        receives the number of groups
 * "1 2/3 4 5" is 1 2 3 4 5 in groups of 2 and 3. A last group of one character is not read: "1/2" is one group, and "7" none. A
 * group of no characters takes the rest of the text but its last character, slashes included, and is the last one.
 * Nothing is stored, and n is 0, where either array is null or memory for a copy of the text cannot be had. */
PELTA_API void peltaParseFloat2(char* cstring, float** fval, int** num, int* n);

/* The three polygon tests take npol vertices xp, yp, kept, and a point x, y; an edge with a coordinate that is no number is never
 * crossed. All work is in single precision: take coordinates from an origin nearby. */

/* 1 if a point is inside a polygon, else 0, by the parity of the edges crossed on the way to larger x.
 * The polygon closes itself: the last vertex is joined to the first. An edge owns its lower end but not its upper one, and a
 * point on an edge is left of it only if rounding says so: of polygons that share an edge one holds a point on it.
 * W. R. Franklin, PNPOLY, 1970. */
PELTA_API int peltaPnPolygon(int npol, float* xp, float* yp, float x, float y);

/* As peltaPnPolygon, for a polygon whose last vertex repeats the first: an edge from the last to the first is not added. An edge
 * owns its upper end but not its lower one, and a point on it counts as left of it. */
PELTA_API int peltaPnPolygon2(int npol, float* xp, float* yp, float x, float y);

/* How often a polygon whose last vertex repeats the first winds round a point, counterclockwise; 0 outside.
 * The side of an edge is told by isLeft, hence within an area of 1 about the edge a point counts as left of it: coordinates must be
 * large beside 1. */
PELTA_API int peltaPnPolygon1(int npol, float* xp, float* yp, float x, float y);

/* Side of the line from (x1, y1) to (x2, y2) on which the point (x3, y3) lies: above 0 to the left, below 0 to the right.
 * Returns twice the area of the triangle, cut to a whole number, so that a point is on the line within an area of 1. Values
 * beyond the int range become its ends, a NaN the lower end. */
PELTA_API int isLeft(float x1, float y1, float x2, float y2, float x3, float y3);

/* Value at x of the polynomial through n points, by Neville's scheme.
 *   xa, ya  [1 .. n] abscissae, in any order, and ordinates, kept; entry 0 is not touched, here and below
 *   y       receives the value
 *   dy      receives the last correction to it, an estimate of its error; left alone where n is 1 or less
 *   c, d    [1 .. n] scratch
 * For n of 0 or less y is ya[1]. Each pair of equal abscissae that the scheme meets prints "Error in routine polint2", without a
 * line end, and makes the value infinite or NaN.
 * J. Stoer and R. Bulirsch, Introduction to Numerical Analysis, section 2.1. */
PELTA_API void polint(float* xa, float* ya, int n, float x, float* y, float* dy, float* c, float* d);

/* Value at x of a rational function through n points, by the scheme of Bulirsch and Stoer. Arguments as for polint.
 * At an abscissa y is its ordinate and dy 0. Where the scheme meets a pole at x it ends: y and dy are those of the step before.
 * J. Stoer and R. Bulirsch, Introduction to Numerical Analysis, section 2.2. */
PELTA_API void ratint(float* xa, float* ya, int n, float x, float* y, float* dy, float* c, float* d);

PELTA_END_C

#endif
