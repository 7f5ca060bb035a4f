// vellumfox-cli: the command-line companion (placeholder).
#include <cstdio>

int main() {
    std::puts("vellumfox-cli");
    return 0;
}
