#include <kovadata/kova.h>

#include <stdio.h>

int main(void) {
    char text[64];
    const uint64_t handle = kova_open("no/such/directory", 0);
    kova_get_last_error_string(text, sizeof text);
    puts(text);
    return handle == 0 ? 0 : 1;
}
