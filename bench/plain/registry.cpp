// What kav_rows sees of the readings: the list of them, and the module state
// they read.
#include <string>
#include <vector>

#include "plain.h"

RuntimeInterface *plain_rt = nullptr;
int32_t *plain_angle_unit = nullptr;
int32_t *plain_sin_tab = nullptr, *plain_cos_tab = nullptr;
int32_t *plain_asin_tab = nullptr, *plain_acos_tab = nullptr;
uint32_t *plain_m_z = nullptr, *plain_m_w = nullptr;

namespace {

struct Reading {
    std::string signature;
    plain_reading fn;
};

std::vector<Reading> &registered() {
    static std::vector<Reading> list;  // filled during static initialisation
    return list;
}

}  // namespace

int plain_register(const char *signature, plain_reading reading) {
    registered().push_back({signature, reading});
    return 0;
}

int plain_count(void) { return static_cast<int>(registered().size()); }
const char *plain_signature(int i) { return registered()[static_cast<std::size_t>(i)].signature.c_str(); }
plain_reading plain_function(int i) { return registered()[static_cast<std::size_t>(i)].fn; }

void plain_bind(const plain_module *m) {
    plain_rt = m->rt;
    plain_angle_unit = m->angle_unit;
    plain_sin_tab = m->sin_tab;
    plain_cos_tab = m->cos_tab;
    plain_asin_tab = m->asin_tab;
    plain_acos_tab = m->acos_tab;
    plain_m_z = m->m_z;
    plain_m_w = m->m_w;
}
