#include "upgrade/driver.h"

int main() {
    return vx::runUpgrade();
}
