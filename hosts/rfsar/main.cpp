// SPDX-License-Identifier: MIT
#include "verbs/application.h"

int main(int argc, char** argv) {
    return application::run(argc, argv);
}
