/* A host in C: creates clsCGIn, asks for the invoices of a condition and
   prints what the method returned. */
#include <TamsorPurFP/CApi.h>
#include <stdio.h>

int main(int argc, char **argv)
{
    char text[4096];
    void *obj = 0;
    int32_t id = 0;
    if (TamsorPurFP_CreateInstance("clsCGIn", &obj, text, sizeof text) != PURFP_S_OK)
        return fprintf(stderr, "%s\n", text), 1;
    TamsorPurFP_GetIDsOfNames(obj, "findInfo1", &id);
    int32_t hr = TamsorPurFP_Invoke(obj, id, PURFP_DISPATCH_METHOD, argc > 1 ? argv[1] : "", text, sizeof text);
    printf("findInfo1: %08x \"%s\"\n", (unsigned)hr, text);
    TamsorPurFP_Release(obj);
    return hr != PURFP_S_OK;
}
