#include "config/plugin_blob.h"

#include "config/PlugInElem.h"
#include "dsp/CMemBuff.h"

#include <cstring>

bool DecodePlugIns(CMemBuff& blob, CStructArray& list) {
    list.Clear();
    std::int32_t count = 0;
    if (!blob.Read(&count, sizeof count))
        return false;
    for (std::int32_t i = 0; i < count; ++i) {
        PlugInElem plugIn;
        if (!blob.Read(&plugIn.clsid, sizeof plugIn.clsid) || !blob.ReadString(&plugIn.name) ||
            !list.Append(plugIn))
            return false;
    }
    return true;
}

bool EncodePlugIns(const CStructArray& list, CMemBuff& blob) {
    const std::int32_t count = list.GetCount();
    bool complete = blob.Append(&count, sizeof count);
    for (std::int32_t i = 0; complete && i < count; ++i) {
        const PlugInElem& plugIn = *PlugInAt(list, i);
        const char* const name = plugIn.name == nullptr ? "" : plugIn.name;
        const auto length = static_cast<std::int32_t>(std::strlen(name));
        complete = blob.Append(&plugIn.clsid, sizeof plugIn.clsid) && blob.Append(&length, sizeof length) &&
                   blob.Append(name, length);
    }
    return complete;
}
