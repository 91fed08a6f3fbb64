/* A host that loads the library at run time, and finds its functions by name.
 *
 *     orv-host-dlopen LIBRARY FILE
 *
 * Prints the name in the settings file. The key text comes from ORV_SETTINGS_KEY.
 */
#include <orv/orv.h> /* only for the types and constants */

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

typedef int (*open_function)(const char*, const char*);
typedef int (*close_function)(void);
typedef int (*get_text_function)(const char*, const char*, char*, int, const char*);

/* Stores the object pointer that dlsym returns in a function pointer, as POSIX allows. */
static void find(void* library, const char* name, void* function) {
    *(void**)function = dlsym(library, name);
    if (*(void**)function == NULL) {
        fprintf(stderr, "%s is missing: %s\n", name, dlerror());
        exit(EXIT_FAILURE);
    }
}

int main(int argc, char** argv) {
    void* library;
    open_function open_store;
    close_function close_store;
    get_text_function get_text;
    char name[64]; /* a longer one is truncated */

    if (argc != 3) {
        fprintf(stderr, "usage: %s LIBRARY FILE\n", argv[0]);
        return 2;
    }
    library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
        fprintf(stderr, "cannot load the library: %s\n", dlerror());
        return EXIT_FAILURE;
    }
    printf("loaded %s\n", argv[1]);
    find(library, "ORV_open", &open_store);
    find(library, "ORV_close", &close_store);
    find(library, "ORVSC_GetText", &get_text);

    if (open_store(argv[2], getenv("ORV_SETTINGS_KEY")) != ORV_OPEN_LOADED) {
        fprintf(stderr, "%s did not load\n", argv[2]);
        close_store();
        return EXIT_FAILURE;
    }
    get_text("user", "name", name, sizeof name, "(not set)");
    printf("  user / name is \"%s\"\n", name);
    close_store();    /* nothing was set, so nothing can be lost */
    dlclose(library); /* this would also have saved */
    printf("unloaded the library\n");
    return EXIT_SUCCESS;
}
