/* The conformance suite against a Windows DLL, loaded as a foreign host loads it
 *
 *   talv_conformance_dll talvcodec.dll
 *
 * The six functions are found by their plain names and by their ordinals, 1 to 6; both must lead to the same routines, and
 * the DLL must export nothing else. The suite then runs through the addresses found by ordinal. */
#include <stdio.h>
#include <talvcodec.h>
#include <windows.h>

#define FUNCTIONS 6
static const char *const names[FUNCTIONS] = {"TALV_CodecOpen",  "TALV_CodecClose",   "TALV_EncodeInit",
                                             "TALV_DecodeInit", "TALV_SpeechEncode", "TALV_SpeechDecode"};
static FARPROC found[FUNCTIONS];

typedef int32_t open_function(TALV_Codec **);
typedef int32_t instance_function(TALV_Codec *);
typedef int32_t encode_function(TALV_Codec *, const int16_t *, uint8_t *, uint32_t *);
typedef int32_t decode_function(TALV_Codec *, const uint8_t *, int16_t *, uint32_t *);

/* Another function type is what GetProcAddress is about; by way of void (*)(void) compilers agree. */
#define FOUND(type, ordinal) ((type *)(void (*)(void))found[(ordinal)-1])

/** Look the functions up; the number of things that are wrong */
static int look_up(HMODULE dll)
{
    int wrong = 0;
    for (int i = 0; i < FUNCTIONS; i++) {
        const FARPROC by_name = GetProcAddress(dll, names[i]);
        found[i] = GetProcAddress(dll, (LPCSTR)(ULONG_PTR)(i + 1));
        if (!by_name || by_name != found[i]) {
            printf("%s: by name %s, by ordinal %d %s\n", names[i], by_name ? "found" : "missing", i + 1,
                   !found[i]             ? "missing"
                   : by_name == found[i] ? "found"
                                         : "something else");
            wrong++;
        }
    }
    /* The DLL's own list: a PE image starts with the DOS header, which leads to the others. */
    const unsigned char *const image = (const unsigned char *)(const void *)dll;
    const IMAGE_NT_HEADERS *const headers =
        (const IMAGE_NT_HEADERS *)(const void *)(image + ((const IMAGE_DOS_HEADER *)(const void *)image)->e_lfanew);
    const IMAGE_EXPORT_DIRECTORY *const exports =
        (const IMAGE_EXPORT_DIRECTORY *)(const void *)(image + headers->OptionalHeader
                                                                   .DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT]
                                                                   .VirtualAddress);
    if (exports->Base != 1 || exports->NumberOfFunctions != FUNCTIONS || exports->NumberOfNames != FUNCTIONS) {
        printf("exports: got %lu functions and %lu names from ordinal %lu, wanted 6 and 6 from 1\n",
               (unsigned long)exports->NumberOfFunctions, (unsigned long)exports->NumberOfNames,
               (unsigned long)exports->Base);
        wrong++;
    }
    return wrong;
}

#define TALV_CodecOpen FOUND(open_function, 1)
#define TALV_CodecClose FOUND(instance_function, 2)
#define TALV_EncodeInit FOUND(instance_function, 3)
#define TALV_DecodeInit FOUND(instance_function, 4)
#define TALV_SpeechEncode FOUND(encode_function, 5)
#define TALV_SpeechDecode FOUND(decode_function, 6)
#define main suite
#include "run.c"
#undef main

int main(int argc, char **argv)
{
    HMODULE dll;
    int wrong;
    if (argc != 2) {
        printf("usage: talv_conformance_dll DLL\n");
        return 2;
    }
    dll = LoadLibraryA(argv[1]);
    if (!dll) {
        printf("%s: cannot be loaded, error %lu\n", argv[1], (unsigned long)GetLastError());
        return 1;
    }
    wrong = look_up(dll);
    printf("six functions by name and by ordinal: %s\n", wrong ? "FAILED" : "found");
    return wrong ? 1 : suite(1, argv);
}
