/* Lists the network interfaces: their IPv6 addresses and IPv4 gateway. */
#include <net/if.h>
#include <stdio.h>

#include <vxblade/net.h>

static void show(const char* name) {
    VXNetInterfaceParams found;
    int file = open_ipv6_interface_file();
    size_t i;

    printf("%s: gateway %08x\n", name, (unsigned)VXNetGetGateway(name));
    while (file >= 0 && read_next_interface_params(file, name, &found) == 0) {
        fputs("  ", stdout);
        for (i = 0; i < sizeof found.address; ++i) {
            printf("%02x%s", found.address[i], i % 2 == 1 && i != 15 ? ":" : "");
        }
        printf("/%u\n", (unsigned)found.prefixLength);
    }
    if (file >= 0) {
        close_ipv6_interface_file(file);
    }
}

int main(void) {
    struct if_nameindex* all = if_nameindex();
    struct if_nameindex* one;

    for (one = all; one != NULL && one->if_index != 0; ++one) {
        show(one->if_name);
    }
    if_freenameindex(all);
    return 0;
}
