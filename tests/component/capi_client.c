/* A host written in C: loads the component with dlopen, creates clsCGIn
   through the C entry points and drives it by name, printing one line per
   step for the test to compare. Usage: capi_client LIBRARY */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>

typedef int32_t (*CreateFn)(const char *, void **, char *, int32_t);
typedef int32_t (*NamesFn)(void *, const char *, int32_t *);
typedef int32_t (*InvokeFn)(void *, int32_t, int32_t, const char *, char *, int32_t);
typedef void (*ReleaseFn)(void *);

int main(int argc, char **argv)
{
    if (argc < 2)
        return 2;
    void *lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!lib) {
        printf("dlopen failed: %s\n", dlerror());
        return 1;
    }
    CreateFn create = (CreateFn)dlsym(lib, "TamsorPurFP_CreateInstance");
    NamesFn names = (NamesFn)dlsym(lib, "TamsorPurFP_GetIDsOfNames");
    InvokeFn invoke = (InvokeFn)dlsym(lib, "TamsorPurFP_Invoke");
    ReleaseFn release = (ReleaseFn)dlsym(lib, "TamsorPurFP_Release");
    if (!create || !names || !invoke || !release) {
        printf("missing entry point\n");
        return 1;
    }
    char text[256];
    void *obj = 0;
    printf("create other %08x\n", (unsigned)create("clsOther", &obj, text, sizeof text));
    int32_t hr = create("clsCGIn", &obj, text, sizeof text);
    printf("create %08x %s\n", (unsigned)hr, text);
    if (hr != 0)
        return 1;

    const char *members[] = {"billName", "STRAPPPATH", "returnstring1", "ReturnString", "UserRight",
                             "newinfo", "downFromOrder", "FindInfo", "findInfo1", "findInfo2", "noSuchMember"};
    for (unsigned i = 0; i < sizeof members / sizeof *members; ++i) {
        int32_t id = 0;
        hr = names(obj, members[i], &id);
        printf("id %s %08x %08x\n", members[i], (unsigned)hr, (unsigned)id);
    }
    int32_t right = 0, bill = 0, find2 = 0, find = 0;
    names(obj, "UserRight", &right);
    names(obj, "billName", &bill);
    names(obj, "findInfo2", &find2);
    names(obj, "findInfo", &find);

    hr = invoke(obj, right, 4, "Q01,Q02", text, sizeof text);
    printf("put UserRight %08x\n", (unsigned)hr);
    hr = invoke(obj, right, 2, 0, text, sizeof text);
    printf("get UserRight %08x %s\n", (unsigned)hr, text);
    hr = invoke(obj, bill, 4, "采购发票", text, sizeof text);
    hr = invoke(obj, bill, 2, 0, text, 8); /* a buffer too small never cuts a character in half */
    printf("get billName small %08x %s\n", (unsigned)hr, text);
    hr = invoke(obj, find2, 1, " and 1=1", text, sizeof text);
    printf("findInfo2 %08x [%s]\n", (unsigned)hr, text);
    hr = invoke(obj, find, 1, 0, text, sizeof text);
    printf("findInfo %08x [%s]\n", (unsigned)hr, text);
    hr = invoke(obj, find2, 1, 0, text, sizeof text);
    printf("findInfo2 without argument %08x\n", (unsigned)hr);
    hr = invoke(obj, find, 2, 0, text, sizeof text);
    printf("findInfo as property %08x\n", (unsigned)hr);
    hr = invoke(obj, right, 1, 0, text, sizeof text);
    printf("UserRight as method %08x\n", (unsigned)hr);
    hr = invoke(obj, 0x12345, 1, 0, text, sizeof text);
    printf("unknown id %08x\n", (unsigned)hr);
    release(obj);
    return 0;
}
