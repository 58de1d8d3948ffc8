/* A program with a crc32 that is none, over a defaults file with a checksum. */
#include <stdio.h>

#define VXBLADE_NO_CRC32
#include <vxblade/common.h>
#include <vxblade/properties.h>

unsigned long crc32(unsigned long crc, const unsigned char* data, unsigned length);
unsigned long crc32(unsigned long crc, const unsigned char* data, unsigned length) {
    (void)data;
    return crc + length - length + 7;
}

int main(int argc, char** argv) {
    unsigned long stored = 0;
    unsigned long computed = 1;
    PropertiesHandle file = propOpenPropertiesFile(argv[argc - 1]);
    propGetCrc(file, &stored, &computed);
    propClosePropertiesFile(file);
    printf("\nthe layer's is %s, the program's %lu\n", stored == computed ? "right" : "wrong",
           crc32(0, NULL, 0));
    return 0;
}
