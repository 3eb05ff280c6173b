// A window on a volume: three linked slices, a projection, and operations of the library run beside it.
#include "ViewerWindow.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    const QStringList words = QApplication::arguments();
    if (words.size() > 2 || (words.size() == 2 && words[1].startsWith('-'))) {
        const bool wantsHelp = words[1] == "--help" || words[1] == "-h";
        std::fputs("usage: viewer [VOLUME]   NIfTI, NRRD, MetaImage or a folder with a DICOM series\n",
                   wantsHelp ? stdout : stderr);
        return wantsHelp ? 0 : 2;
    }
    viewer::ViewerWindow window;
    window.show();
    if (words.size() == 2)
        window.open(words[1]);
    return QApplication::exec();
}
