/* clang-format off */
/*
 * The C interface of the DSP module (dxwrapper.dll, 32-bit Windows).
 *
 * A host loads the library, binds the eleven functions by name (undecorated, __cdecl; the DSP_...Fn types
 * below fit GetProcAddress) and drives one or more instances:
 *
 *   DSP_Create
 *     DSP_ShowConfigBit, DSP_RemoveConfigBit     configuration, outside a conversion: gives a settings string
 *     DSP_BeginConversion                        once per stream, with the string kept from configuration
 *       DSP_PassAudioBlock                       once per block, in order; the last with bLastBlock set
 *     DSP_EndConversion, DSP_AfterConversion     then the instance may begin the next conversion
 *   DSP_Destroy
 *
 * Rules for all functions:
 *   - A null instance makes them do nothing and return 0, except DSP_Destroy (returns 1).
 *   - They may be called from any thread, with any stack alignment of at least 4 bytes and any floating-point
 *     modes; modes are on return what they were. Calls on one instance that touch audio take turns inside.
 *     Show and remove the panel on the thread that runs the parent window.
 *   - No function throws, and a fault of an effect does not leave them: it becomes a failed result.
 *   - Handles and pointers that are passed in stay the caller's. A record or text that can't be read counts
 *     as null; one that can't be written fails the call.
 *
 * Compiles alone, as C and as C++.
 */
/* clang-format on */
#ifndef DSP_API_H
#define DSP_API_H

#include <stddef.h>
#include <windows.h>
#include <mmreg.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 1)

/* Log files of the host. Each handle may be 0 or INVALID_HANDLE_VALUE: that stream is off.
 * UTF-16 text without byte-order mark is appended at the handle's position; lines end in CR LF.
 * The module never opens, closes or seeks them. */
typedef struct DSPHostContext {
    HANDLE hErrorLog; /* error lines */
    HANDLE hInfoLog;  /* information lines */
    HANDLE hTraceLog; /* entry and exit of each call, and a copy of every error and information line */
} DSPHostContext;

/* What starts a conversion. */
typedef struct DSPConversionInfo {
    DWORD hostWords[3]; /* the host's own; not read */
    const WAVEFORMATEX*
        pFormat; /* format of the blocks to come; a WAVEFORMATEXTENSIBLE when cbSize says so */
} DSPConversionInfo;

/* A format stored in place. cbSize counts the bytes after the first 18; what would run past 44 is not read.
 */
typedef union DSPBlockFormat {
    WAVEFORMATEX ex;
    WAVEFORMATEXTENSIBLE extensible;
    BYTE bytes[44];
} DSPBlockFormat;

/* One block of interleaved PCM frames, processed in place. */
typedef struct DSPAudioBlock {
    BYTE* pData;        /* the frames; points to memory of the module after a tail was appended */
    INT32 nBytes;       /* valid bytes at pData; grows with an appended tail */
    DSPBlockFormat wfx; /* the block's format */
    UINT64 nDurationMs; /* milliseconds; written when a tail is appended */
    BYTE hostBytes[24]; /* the host's own; not used */
    DWORD bLastBlock;   /* nonzero on the final block of the stream: the effect's tail is appended to it */
} DSPAudioBlock;

#pragma pack(pop)

#ifdef __cplusplus
#define DSP_CHECK_LAYOUT(condition) static_assert(condition, #condition)
#else
#define DSP_CHECK_LAYOUT(condition) _Static_assert(condition, #condition)
#endif
DSP_CHECK_LAYOUT(sizeof(void*) == 4);
DSP_CHECK_LAYOUT(offsetof(DSPHostContext, hErrorLog) == 0);
DSP_CHECK_LAYOUT(offsetof(DSPHostContext, hInfoLog) == 4);
DSP_CHECK_LAYOUT(offsetof(DSPHostContext, hTraceLog) == 8);
DSP_CHECK_LAYOUT(sizeof(DSPHostContext) == 12);
DSP_CHECK_LAYOUT(offsetof(DSPConversionInfo, pFormat) == 12);
DSP_CHECK_LAYOUT(sizeof(DSPBlockFormat) == 44);
DSP_CHECK_LAYOUT(offsetof(DSPAudioBlock, pData) == 0);
DSP_CHECK_LAYOUT(offsetof(DSPAudioBlock, nBytes) == 4);
DSP_CHECK_LAYOUT(offsetof(DSPAudioBlock, wfx) == 8);
DSP_CHECK_LAYOUT(offsetof(DSPAudioBlock, nDurationMs) == 52);
DSP_CHECK_LAYOUT(offsetof(DSPAudioBlock, hostBytes) == 60);
DSP_CHECK_LAYOUT(offsetof(DSPAudioBlock, bLastBlock) == 84);
DSP_CHECK_LAYOUT(sizeof(DSPAudioBlock) == 88);
#undef DSP_CHECK_LAYOUT

/* DSP_RemoveConfigBit with this code returns the string as it stands and leaves the panel open. */
#define DSP_CODE_STORED_SETTINGS (-123)

/* Makes an instance. `context` is copied and may be freed at once; null switches all logs off.
 * Returns the instance, or null when memory is short. The caller ends it with DSP_Destroy. */
void* __cdecl DSP_Create(const DSPHostContext* context);

/* Ends the instance: closes panel and editor, releases the effect, waits for a call that is still running.
 * Strings and block data that the instance handed out end with it. Always 1. */
DWORD __cdecl DSP_Destroy(void* instance);

/* No key can be set: always 0. The key goes to the trace log. */
DWORD __cdecl DSP_Set(void* instance, const wchar_t* key, const wchar_t* value);

/* 1 for the key "IsLive" exactly (audio is processed block by block), else 0. `value` is never touched. */
DWORD __cdecl DSP_Get(void* instance, const wchar_t* key, void* value);

/* Connects the effect that `settings` names and shows the settings panel as a child of `parent`, its upper
 * left corner at (x, y) in client pixels. Returns the panel's window, or null when none could be made. The
 * window is the instance's; DSP_RemoveConfigBit takes it down. Thread: the one that runs `parent`. */
HWND __cdecl DSP_ShowConfigBit(void* instance, HWND parent, int x, int y, const wchar_t* settings);

/* Takes panel and editor down and returns the settings string for the connected effect and its present state;
 * empty without an effect. The host stores a copy: the text stays valid until the next call that rebuilds it,
 * or DSP_Destroy. With DSP_CODE_STORED_SETTINGS nothing is taken down or rebuilt. Null only for a null
 * instance. */
const wchar_t* __cdecl DSP_RemoveConfigBit(void* instance, int code);

/* Makes ready for a stream of the given format with the effect and state that `settings` names. With an empty
 * or undecodable string an effect connected earlier is kept; without one, blocks pass unchanged. Formats: PCM
 * of 8, 16, 24 or 32 bits and 32-bit float, any channel count of at least 1 (the first two channels are
 * processed). Returns 1 when ready, 0 on failure (the error log says why). */
DWORD __cdecl DSP_BeginConversion(void* instance, const DSPConversionInfo* info, const wchar_t* settings);

/* Processes the whole frames at pData in place; a partial frame at the end stays as it is. With bLastBlock
 * set the effect rings out, at most ten seconds, and when that gives sound pData, nBytes and nDurationMs
 * describe the longer block, in memory that stays valid until the instance's next tail or DSP_Destroy.
 * Returns 1 when done, or when there is no effect, 0 on failure: frames before the failure are processed. */
DWORD __cdecl DSP_PassAudioBlock(void* instance, DSPAudioBlock* block);

/* Nothing to do for a live effect; the arguments are ignored. Always 1. */
DWORD __cdecl DSP_PassNonLive(void* instance, DWORD a, DWORD b, DWORD c, DWORD d);

/* After the last block. The effect stays connected for the next conversion. Always 1. */
DWORD __cdecl DSP_EndConversion(void* instance, DWORD reserved);

/* After the host has finished its file. Always 1. */
DWORD __cdecl DSP_AfterConversion(void* instance, DWORD reserved);

typedef void*(__cdecl* DSP_CreateFn)(const DSPHostContext*);
typedef DWORD(__cdecl* DSP_DestroyFn)(void*);
typedef DWORD(__cdecl* DSP_SetFn)(void*, const wchar_t*, const wchar_t*);
typedef DWORD(__cdecl* DSP_GetFn)(void*, const wchar_t*, void*);
typedef HWND(__cdecl* DSP_ShowConfigBitFn)(void*, HWND, int, int, const wchar_t*);
typedef const wchar_t*(__cdecl* DSP_RemoveConfigBitFn)(void*, int);
typedef DWORD(__cdecl* DSP_BeginConversionFn)(void*, const DSPConversionInfo*, const wchar_t*);
typedef DWORD(__cdecl* DSP_PassAudioBlockFn)(void*, DSPAudioBlock*);
typedef DWORD(__cdecl* DSP_PassNonLiveFn)(void*, DWORD, DWORD, DWORD, DWORD);
typedef DWORD(__cdecl* DSP_EndConversionFn)(void*, DWORD);
typedef DWORD(__cdecl* DSP_AfterConversionFn)(void*, DWORD);

#ifdef __cplusplus
}
#endif

#endif
