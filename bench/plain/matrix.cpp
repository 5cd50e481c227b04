// Plain readings of the matrices: construction, element-wise operations,
// products.
#include "plain.h"

PLAIN("mat_identity(TP(mat4))") {
    mat4 *m = (mat4 *)pop_struct_ptr();
    if (!m) {
        ret_int(0);
        return;
    }
    memset(m, 0, sizeof *m);
    m->m[0] = m->m[5] = m->m[10] = m->m[15] = 1.0f;
    ret_int(1);
}

// r[j*4 + i] = sum over k of a[k*4 + i] * b[j*4 + k], left to right. The
// rule asks for more than float in the sums; double is the plainest such
// precision (a product of two floats is exact in it).
PLAIN("mat_mul(TP(mat4),TP(mat4))") {
    const mat4 *b = (const mat4 *)pop_struct_ptr();
    const mat4 *a = (const mat4 *)pop_struct_ptr();
    mat4 r;
    memset(&r, 0, sizeof r);
    if (a && b) {
        for (int j = 0; j < 4; j++)
            for (int i = 0; i < 4; i++)
                r.m[j * 4 + i] = (float)((double)a->m[0 * 4 + i] * b->m[j * 4 + 0] +
                                         (double)a->m[1 * 4 + i] * b->m[j * 4 + 1] +
                                         (double)a->m[2 * 4 + i] * b->m[j * 4 + 2] +
                                         (double)a->m[3 * 4 + i] * b->m[j * 4 + 3]);
    }
    ret_struct(&r, sizeof r);
}
