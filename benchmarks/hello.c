#include <stdio.h>

// The least that a static program with this C library can be.
int main(void) {
    puts("hello");
    return 0;
}
