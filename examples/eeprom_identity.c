/* Prints what the EEPROMs say of the board and of its memory module. */
#include <stdio.h>

#include <vxblade/seep.h>
#include <vxblade/version.h>

int main(void) {
    uint8_t version[2];
    char serial[32];

    printf("libvxblade %s\n", vxblade_version());
    if (readBytesFromSeep(SEEP_HARDWARE_VERSION, version, sizeof version, SEEP_DEVICE) !=
        (int)sizeof version) {
        fputs("the board's EEPROM does not answer\n", stderr);
        return 1;
    }
    /* 65535 where nobody programmed it. */
    printf("hardware version %u\n", version[0] | (unsigned)version[1] << 8);
    if (getNvDimmSerialNumber(serial, sizeof serial) > 0) {
        printf("memory module %s\n", serial);
    }
    return 0;
}
