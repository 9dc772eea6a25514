/* A frei0r mixer that lays its second input over its first with one blending family of the library. QX_MIXER
 * is the family's name without the prefix, such as sblend: one module is built for each.
 *
 * Frames come as R, G, B, A with straight alpha; the blends treat the three colours alike. A host may call
 * update for slices of one frame at the same time, so an instance holds its size and opacity and nothing
 * else.
 */
#include <frei0r.h>
#include <qxpixlib.h>
#include <stddef.h>
#include <stdlib.h>

#define STRING_OF(text) #text
#define STRING(macro) STRING_OF(macro)
#define JOIN_OF(prefix, family, suffix) prefix##family##suffix
#define JOIN(prefix, macro, suffix) JOIN_OF(prefix, macro, suffix)

typedef struct {
    int32_t width, height;
    double opacity;
} Instance;

int f0r_init(void) { return 1; }
void f0r_deinit(void) {}

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
    info->name = "qx" STRING(QX_MIXER);
    info->author = "The qxpixlib developers";
    info->plugin_type = F0R_PLUGIN_TYPE_MIXER2;
    info->color_model = F0R_COLOR_MODEL_RGBA8888;
    info->frei0r_version = FREI0R_MAJOR_VERSION;
    info->major_version = 1;
    info->minor_version = 0;
    info->num_params = 1;
    info->explanation = "Lays the second input over the first by its alpha, with qx_" STRING(QX_MIXER) "_t";
}

void f0r_get_param_info(f0r_param_info_t* info, int index) {
    if (index != 0) return;
    info->name = "opacity";
    info->type = F0R_PARAM_DOUBLE;
    info->explanation = "Opacity of the second input, 0 to 1";
}

f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
    Instance* instance = malloc(sizeof *instance);
    if (instance != NULL) *instance = (Instance){(int32_t)width, (int32_t)height, 1.0};
    return instance;
}

void f0r_destruct(f0r_instance_t instance) { free(instance); }

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t value, int index) {
    if (index == 0) ((Instance*)instance)->opacity = *(const double*)value;
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t value, int index) {
    if (index == 0) *(double*)value = ((const Instance*)instance)->opacity;
}

void f0r_update2(f0r_instance_t instance, double time, const uint32_t* bottom, const uint32_t* top,
                 const uint32_t* unused, uint32_t* out) {
    const Instance* self = instance;
    const double opacity = self->opacity > 1 ? 1 : self->opacity > 0 ? self->opacity : 0; /* NaN is 0 */
    (void)time, (void)unused;
    for (int32_t y = 0; y < self->height; ++y) {
        const size_t row = (size_t)y * (size_t)self->width;
        JOIN(qx_, QX_MIXER, _t)
        (out + row, bottom + row, top + row, self->width, (uint32_t)(opacity * 256 + 0.5));
    }
}
