// Unloads the library, whose path is the argument, while the deletion of a temporary folder is still to come.

#include <QCoreApplication>
#include <QSemaphore>
#include <QThreadPool>

#include <dlfcn.h>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    void *library = argc == 2 ? ::dlopen(argv[1], RTLD_NOW) : nullptr;
    void *construct = library ? ::dlsym(library, "_ZN13TESTempFolderC1Ebb") : nullptr;
    void *destroy = library ? ::dlsym(library, "_ZN13TESTempFolderD1Ev") : nullptr;
    if (!construct || !destroy)
        return 2;
    QSemaphore gate;
    QThreadPool::globalInstance()->setMaxThreadCount(1);
    QThreadPool::globalInstance()->start([&gate] { gate.acquire(); });
    alignas(void *) char folder[64];
    reinterpret_cast<void (*)(void *, bool, bool)>(construct)(folder, true, true);
    reinterpret_cast<void (*)(void *)>(destroy)(folder);
    ::dlclose(library);
    gate.release();
    return QThreadPool::globalInstance()->waitForDone() ? 0 : 1;
}
