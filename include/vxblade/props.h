/* Defaults files: properties.h, access by key; settings.h, the readers of their sections. */
#ifndef VXBLADE_PROPS_H
#define VXBLADE_PROPS_H

#include <vxblade/properties.h>
#include <vxblade/settings.h>

#endif
