#include "dxconv/convert_file.h"

void RunConvert(const ConvertOptions& options) {
    ConvertFile(options);
}
