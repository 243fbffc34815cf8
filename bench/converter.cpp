#include "bench/measure.h"
#include "bench/report.h"

int main() {
    PrintSection("Sample formats", "");
    return 0;
}
