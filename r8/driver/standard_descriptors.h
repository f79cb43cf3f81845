#pragma once

// Opens what is closed of standard input, output and error on "/dev/null". The next file would get that
// number otherwise: operator lines would go into the control device, or operator input come out of it.
void openStandardDescriptors();
