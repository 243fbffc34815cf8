#pragma once

#include "support/com.h"
#include "tests/effects/CTestEffects.h"

#include <doctest/doctest.h>
#include <dshow.h>
#include <wrl/client.h>
#include <vector>

struct TestFilter {
    const wchar_t* name;
    const GUID& output = MEDIATYPE_Audio;
    DWORD merit = 0x200000;
};

/// Filters that the system's mapper knows for a scope. Has COM initialised.
class CRegisteredFilters {
public:
    CRegisteredFilters() {
        ::CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&m_mapper));
        REQUIRE(m_mapper);
    }
    ~CRegisteredFilters() {
        for (const GUID& clsid : m_added) {
            m_mapper->UnregisterFilter(nullptr, nullptr, clsid);
            UnregisterClassInPrefix(clsid);
        }
    }
    CRegisteredFilters(const CRegisteredFilters&) = delete;
    CRegisteredFilters& operator=(const CRegisteredFilters&) = delete;

    /// dll: the code behind it, from the program's folder; empty: none.
    void Add(const GUID& clsid, const TestFilter& test, const std::wstring& dll = {}) {
        const REGPINTYPES in{&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM};
        const REGPINTYPES out{&test.output, &MEDIASUBTYPE_PCM};
        wchar_t pin[] = L"Pin";
        REGFILTERPINS pins[] = {{pin, FALSE, FALSE, FALSE, FALSE, nullptr, nullptr, 1, &in},
            {pin, FALSE, TRUE, FALSE, FALSE, nullptr, nullptr, 1, &out}};
        REGFILTER2 filter{};
        filter.dwVersion = 1;
        filter.dwMerit = test.merit;
        filter.cPins = 2;
        filter.rgPins = pins;
        REQUIRE(SUCCEEDED(m_mapper->RegisterFilter(clsid, test.name, nullptr, nullptr, nullptr, &filter)));
        m_added.push_back(clsid);
        if (!dll.empty())
            RegisterClassInPrefix(clsid, ProgramFolder() + dll);
    }

private:
    const CComApartment m_com;
    Microsoft::WRL::ComPtr<IFilterMapper2> m_mapper;
    std::vector<GUID> m_added;
};
