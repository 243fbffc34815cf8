/*
 * The least a host does: one WAV file (16-bit stereo PCM, plain 44-byte head) through one effect.
 *
 *   minimal_host IN.wav OUT.wav SETTINGS
 *
 * SETTINGS is the text that 'dxconv panel' prints, "" for no effect; dxwrapper.dll lies beside the program.
 * Copy this file and dsp/dsp_api.h: no other file of the project is needed. OUT is never overwritten.
 * Exit status: 0 done, 1 failed (a line on the standard error says why), 2 command line.
 */
#include "dsp/dsp_api.h"

#include <stdio.h>
#include <string.h>

enum { kBlockFrames = 4096, kFrameBytes = 4 };
static const char kNoOutput[] = "OUT cannot be written";

#pragma pack(push, 1)
typedef struct WavHead {
    char riff[4];
    DWORD riffBytes;
    char waveFmt[8];
    DWORD formatBytes;
    PCMWAVEFORMAT format;
    char data[4];
    DWORD dataBytes;
} WavHead;
#pragma pack(pop)

typedef struct Module {
    DSP_CreateFn create;
    DSP_DestroyFn destroy;
    DSP_BeginConversionFn begin;
    DSP_PassAudioBlockFn pass;
    DSP_EndConversionFn end;
    DSP_AfterConversionFn after;
} Module;

static BOOL BindModule(Module* module) {
    const HMODULE library = LoadLibraryW(L"dxwrapper.dll");
    if (library == NULL)
        return FALSE;
    module->create = (DSP_CreateFn)(void*)GetProcAddress(library, "DSP_Create");
    module->destroy = (DSP_DestroyFn)(void*)GetProcAddress(library, "DSP_Destroy");
    module->begin = (DSP_BeginConversionFn)(void*)GetProcAddress(library, "DSP_BeginConversion");
    module->pass = (DSP_PassAudioBlockFn)(void*)GetProcAddress(library, "DSP_PassAudioBlock");
    module->end = (DSP_EndConversionFn)(void*)GetProcAddress(library, "DSP_EndConversion");
    module->after = (DSP_AfterConversionFn)(void*)GetProcAddress(library, "DSP_AfterConversion");
    return module->create && module->destroy && module->begin && module->pass && module->end && module->after;
}

static BOOL ReadHead(FILE* in, WavHead* head) {
    return fread(head, sizeof *head, 1, in) == 1 && memcmp(head->riff, "RIFF", 4) == 0 &&
           memcmp(head->waveFmt, "WAVEfmt ", 8) == 0 && head->formatBytes == sizeof head->format &&
           head->format.wf.wFormatTag == WAVE_FORMAT_PCM && head->format.wf.nChannels == 2 &&
           head->format.wBitsPerSample == 16 && memcmp(head->data, "data", 4) == 0 &&
           head->dataBytes % kFrameBytes == 0;
}

/* Effects may keep windows on this thread; without its messages some of them stall. */
static void TakeMessages(void) {
    MSG message;
    while (PeekMessageW(&message, NULL, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
}

/* Block by block. The last one comes back longer, by what the effect still rings, and in memory of the
 * module: it is written before the next call. Returns what went wrong, or null; *head gets the new sizes. */
static const char* PassAudio(
    const Module* module, void* dsp, const WAVEFORMATEX* format, WavHead* head, FILE* in, FILE* out) {
    static BYTE frames[kBlockFrames * kFrameBytes];
    DWORD left = head->dataBytes, written = 0;
    do {
        const DWORD size = left < sizeof frames ? left : sizeof frames;
        DSPAudioBlock block = {0};
        block.pData = frames;
        block.nBytes = (INT32)size;
        block.wfx.ex = *format;
        block.nDurationMs = size / kFrameBytes * 1000ull / format->nSamplesPerSec;
        block.bLastBlock = size == left;
        if (fread(frames, 1, size, in) != size)
            return "IN ends before its audio does";
        TakeMessages();
        if (module->pass(dsp, &block) != 1)
            return "the effect failed";
        if (fwrite(block.pData, 1, (size_t)block.nBytes, out) != (size_t)block.nBytes)
            return kNoOutput;
        written += (DWORD)block.nBytes;
        left -= size;
    } while (left > 0);
    head->riffBytes = sizeof *head - 8 + written;
    head->dataBytes = written;
    rewind(out);
    return fwrite(head, sizeof *head, 1, out) == 1 ? NULL : kNoOutput;
}

static const char* Convert(const wchar_t* settings, FILE* in, FILE* out) {
    /* Error lines only; they are UTF-16. A host with log files hands over their handles. */
    const DSPHostContext logs = {GetStdHandle(STD_ERROR_HANDLE), NULL, NULL};
    Module module;
    WavHead head;
    WAVEFORMATEX format = {0};
    if (!BindModule(&module))
        return "dxwrapper.dll is missing or is no DSP module";
    if (!ReadHead(in, &head) || fwrite(&head, sizeof head, 1, out) != 1)
        return "IN is no plain WAV file of 16-bit stereo PCM, or OUT cannot be written";
    memcpy(&format, &head.format, sizeof head.format); /* cbSize stays 0 */
    void* const dsp = module.create(&logs);
    if (dsp == NULL)
        return "out of memory";
    const DSPConversionInfo info = {{0}, &format};
    const char* problem = "the effect that SETTINGS names cannot be used";
    if (module.begin(dsp, &info, settings) == 1) {
        problem = PassAudio(&module, dsp, &format, &head, in, out);
        module.end(dsp, 0);
        module.after(dsp, 0);
    }
    module.destroy(dsp);
    return problem;
}

int wmain(int count, wchar_t** arguments) {
    if (count != 4) {
        fputs("usage: minimal_host IN.wav OUT.wav SETTINGS\n", stderr);
        return 2;
    }
    const BOOL isNew = GetFileAttributesW(arguments[2]) == INVALID_FILE_ATTRIBUTES;
    FILE* const in = isNew ? _wfopen(arguments[1], L"rb") : NULL;
    FILE* const out = in == NULL ? NULL : _wfopen(arguments[2], L"wb");
    const char* problem = "IN cannot be read, or OUT is there already or cannot be written";
    if (out != NULL)
        problem = Convert(arguments[3], in, out);
    if (out != NULL && fclose(out) != 0 && problem == NULL)
        problem = kNoOutput;
    if (in != NULL)
        fclose(in);
    if (problem == NULL)
        return 0;
    fprintf(stderr, "minimal_host: %s\n", problem);
    if (out != NULL)
        _wremove(arguments[2]);
    return 1;
}
