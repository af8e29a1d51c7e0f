// host PLUGIN ARGUMENT...: ends as the plugin's main does.
#include <dlfcn.h>

int main(int count, char** arguments) {
    void* const run = dlsym(dlopen(arguments[1], RTLD_NOW), "main");
    return reinterpret_cast<int (*)(int, char**)>(run)(count - 1, arguments + 1);
}
