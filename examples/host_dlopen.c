/* A host that loads the library at run time, and finds its functions by name.
 *
 *     orv-host-dlopen LIBRARY FILE
 *
 * Prints the name in the settings file. The key text comes from ORV_SETTINGS_KEY.
 */
#include <orv/orv.h> /* for the types and constants alone */

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

typedef int (*open_function)(const char*, const char*);
typedef void (*close_function)(void);
typedef const char* (*get_string_function)(const char*, const char*, char*, int*, const char*);

/* A function pointer through the object pointer that dlsym returns, as POSIX has it. */
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
    get_string_function get_string;
    char name[64];
    int size = sizeof name - 1; /* one byte is for the NUL behind a text that is cut */

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
    find(library, "ORVSC_GetString", &get_string);

    if (open_store(argv[2], getenv("ORV_SETTINGS_KEY")) != ORV_OPEN_LOADED) {
        fprintf(stderr, "%s did not load\n", argv[2]);
        close_store();
        return EXIT_FAILURE;
    }
    printf("  user / name is \"%s\"\n", get_string("user", "name", name, &size, "(not set)"));
    close_store();
    dlclose(library); /* would have closed the store for us */
    printf("unloaded the library\n");
    return EXIT_SUCCESS;
}
