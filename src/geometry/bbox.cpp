// The bbox_ family: axis-aligned boxes (l, b, r, t) of floats, ints and
// doubles. No operation normalises a box: an l above its r is used as it
// stands.
#include <cfloat>
#include <cstring>

#include "geometry/geometry.h"

namespace {

using namespace kav;
using namespace kav::geometry;

template <class T>
using point = vec<T, 2>;

// A box argument is read in place (see take), edge by edge where a test
// needs it: a test that fails early reads no more.
enum Edge { LEFT, BOTTOM, RIGHT, TOP };
enum Axis { X, Y };

// Arguments l, b, r, t.
template <class T>
void new_form() {
    box<T> a;
    a.t = pop<T>();
    a.r = pop<T>();
    a.b = pop<T>();
    a.l = pop<T>();
    ret(a);
}

// Two corners, not sorted: (l, b) from the first, (r, t) from the second,
// the bytes of each point copied whole.
template <class T>
void corners_form() {
    const auto q = take<point<T>>();
    const auto p = take<point<T>>();
    box<T> a;
    static_assert(sizeof a == 2 * sizeof(point<T>));
    unsigned char *bytes = reinterpret_cast<unsigned char *>(&a);
    std::memcpy(bytes, p.p, sizeof(point<T>));
    std::memcpy(bytes + sizeof(point<T>), q.p, sizeof(point<T>));
    ret(a);
}

// The square of half size h centred on (x, y).
template <class T>
box<T> square(W<T> x, W<T> y, W<T> h) {
    return {settle<T>(x - h), settle<T>(y - h), settle<T>(x + h), settle<T>(y + h)};
}

// Arguments x, y, h.
template <class T>
void centre_form() {
    const W<T> h = pop<T>();
    const W<T> y = pop<T>();
    const W<T> x = pop<T>();
    ret(square<T>(x, y, h));
}

// Arguments centre, h.
template <class T>
void centre_vector_form() {
    const W<T> h = pop<T>();
    const auto c = take<point<T>>();
    ret(square<T>(at(c, X), at(c, Y), h));
}

// Edges are inclusive; a comparison with a NaN fails, so the answer is 0.
// Arguments A and a point or box, popped last first; the answer 1 or 0.
template <class T>
void contains_point_form() {
    const auto p = take<point<T>>();
    const auto a = take<box<T>>();
    ret(int32_t{a[LEFT] <= p[X] && p[X] <= a[RIGHT] && a[BOTTOM] <= p[Y] && p[Y] <= a[TOP]});
}

template <class T>
void contains_box_form() {
    const auto b = take<box<T>>();
    const auto a = take<box<T>>();
    ret(int32_t{a[LEFT] <= b[LEFT] && b[RIGHT] <= a[RIGHT] && a[BOTTOM] <= b[BOTTOM] &&
                b[TOP] <= a[TOP]});
}

// Boxes that only touch along an edge or at a corner overlap.
template <class T>
void intersects_form() {
    const auto b = take<box<T>>();
    const auto a = take<box<T>>();
    ret(int32_t{b[RIGHT] >= a[LEFT] && a[RIGHT] >= b[LEFT] && b[TOP] >= a[BOTTOM] &&
                a[TOP] >= b[BOTTOM]});
}

// Growing and merging keep the smaller value on all four edges: the right
// and top edges are not grown, as intended.
template <class T>
box<T> smaller_edges(Place<box<T>> a, T l, T b, T r, T t) {
    return {lesser(a[LEFT], l), lesser(a[BOTTOM], b), lesser(a[RIGHT], r), lesser(a[TOP], t)};
}

template <class T>
void expand_form() {
    const auto p = take<point<T>>();
    const auto a = take<box<T>>();
    ret(smaller_edges(a, p[X], p[Y], p[X], p[Y]));
}

template <class T>
void merge_form() {
    const auto b = take<box<T>>();
    const auto a = take<box<T>>();
    ret(smaller_edges(a, b[LEFT], b[BOTTOM], b[RIGHT], b[TOP]));
}

// Width times height, signed.
template <class T>
T area(T l, T b, T r, T t) {
    return settle<T>((W<T>(r) - W<T>(l)) * (W<T>(t) - W<T>(b)));
}

template <class T>
void area_form() {
    const auto a = take<box<T>>();
    ret(area(a[LEFT], a[BOTTOM], a[RIGHT], a[TOP]));
}

// The box enclosing both; unlike bbox_merge this takes the maxima.
template <class T>
void enclosing_area_form() {
    const auto b = take<box<T>>();
    const auto a = take<box<T>>();
    ret(area(lesser(a[LEFT], b[LEFT]), lesser(a[BOTTOM], b[BOTTOM]), greater(a[RIGHT], b[RIGHT]),
             greater(a[TOP], b[TOP])));
}

// ---- The segment from p (fraction 0) to q (fraction 1) against a box --------

struct Slab {
    double min, max;
};

// The fractions at which the segment's line crosses the two edges of one
// axis. An edge level with the start takes -inf (low edge) or +inf (high
// edge) instead of the product, which could be 0 times infinity.
template <class T>
Slab slab(T low, T high, T start, T end) {
    const double inverse = 1.0 / (W<T>(end) - W<T>(start));
    const double t1 = low == start ? -HUGE_VAL : (W<T>(low) - W<T>(start)) * inverse;
    const double t2 = high == start ? HUGE_VAL : (W<T>(high) - W<T>(start)) * inverse;
    return {lesser(t1, t2), greater(t1, t2)};
}

struct Crossing {
    bool meets;
    double enter;
};

template <class T>
Crossing crossing(Place<box<T>> a, Place<point<T>> p, Place<point<T>> q) {
    const Slab x = slab(a[LEFT], a[RIGHT], p[X], q[X]);
    const Slab y = slab(a[BOTTOM], a[TOP], p[Y], q[Y]);
    if (x.max < y.min || y.max < x.min)
        return {false, 0.0};
    const double enter = greater(x.min, y.min);
    const double exit = lesser(x.max, y.max);
    return {exit >= 0.0 && enter <= 1.0, enter};
}

// Arguments A, p, q.
template <class T>
inline Crossing pop_crossing() {
    const auto q = take<point<T>>();
    const auto p = take<point<T>>();
    const auto a = take<box<T>>();
    return crossing(a, p, q);
}

// A segment that starts inside answers 0; a miss answers +inf.
template <class T>
void fraction_form() {
    const Crossing c = pop_crossing<T>();
    ret(c.meets ? settle<T>(greater(c.enter, 0.0)) : T(HUGE_VAL));
}

// A meeting segment whose entry fraction lies above the largest float
// answers 0.
template <class T>
void segment_form() {
    const Crossing c = pop_crossing<T>();
    ret(int32_t{c.meets && !(c.enter > double(FLT_MAX))});
}

}  // namespace

KAV_BOX_ROUTINES(new, new_form)
KAV_BOX_ROUTINES(newV, corners_form)
KAV_BOX_ROUTINES(newC, centre_form)
KAV_BOX_ROUTINES(newCV, centre_vector_form)
KAV_BOX_ROUTINES(containsV, contains_point_form)
KAV_BOX_ROUTINES(containsBB, contains_box_form)
KAV_BOX_ROUTINES(intersectsBB, intersects_form)
KAV_BOX_ROUTINES(expand, expand_form)
KAV_BOX_ROUTINES(merge, merge_form)
KAV_BOX_ROUTINES(get_area, area_form)
KAV_BOX_ROUTINES(get_areaMB, enclosing_area_form)

// The segment forms exist for float and double boxes only.
KAV_ROUTINE(KAV_bbox_intersectsVV) { segment_form<float>(); }
KAV_ROUTINE(KAV_dbbox_intersectsVV) { segment_form<double>(); }
KAV_ROUTINE(KAV_bbox_get_fraction) { fraction_form<float>(); }
KAV_ROUTINE(KAV_dbbox_get_fraction) { fraction_form<double>(); }
