// The icons the code names must be compiled in, at the size the window lays them out for, with a
// sharp variant for high-DPI screens; and the desktop needs the application and file-type icons at
// every size it asks for. A literal that names a missing icon only shows as an empty space in a
// menu, so this test reads the sources and checks every literal it finds.

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QGuiApplication>
#include <QIcon>
#include <QImage>
#include <QRegularExpression>
#include <QTest>
#include <map>

#include "QtTestSupport.h"

using namespace testing_support;

namespace {

const QString sourceDir = QStringLiteral(HALVOREN_SOURCE_DIR);
const int iconSize = 32;

// The icon path literals of the program's code and forms, each once, with the first file that
// names it.
std::map<QString, QString> scanSources()
{
    static const QRegularExpression literal(QStringLiteral(":/ico/MainWindow/Res/[^\"'<>\\s]+?\\.png"));
    std::map<QString, QString> result;
    for (const QString& folder : { QStringLiteral("src"), QStringLiteral("forms") }) {
        QDirIterator files(
            sourceDir + '/' + folder, { "*.cpp", "*.h", "*.ui" }, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            if (file.open(QIODevice::ReadOnly))
                for (const QRegularExpressionMatch& match : literal.globalMatch(QString::fromUtf8(file.readAll())))
                    result.try_emplace(match.captured(), QDir(sourceDir).relativeFilePath(file.fileName()));
        }
    }
    return result;
}

// What is wrong with the image at `path` for an icon of `size` pixels: missing, another size, or
// all transparent or all opaque (a failed render or a lost alpha channel).
QString imageProblem(const QString& path, int size)
{
    const QImage argb = QImage(path).convertToFormat(QImage::Format_ARGB32);
    if (argb.size() != QSize(size, size))
        return QStringLiteral("%1 is missing or not %2x%2").arg(path).arg(size);
    int transparent = 0, drawn = 0;
    for (int i = 0; i < size * size; ++i) {
        const int alpha = qAlpha(argb.pixel(i % size, i / size));
        transparent += alpha == 0;
        drawn += alpha == 255;
    }
    if (drawn < size * size / 10)
        return path + QStringLiteral(": almost nothing drawn");
    return transparent == 0 ? path + QStringLiteral(": no transparent background") : QString();
}

} // namespace

class ResourcesTest : public QObject {
    Q_OBJECT

private slots:
    void namedIconLoads_data()
    {
        QTest::addColumn<QString>("path");
        const auto literals = scanSources();
        // A scan that finds nothing would pass every icon unseen.
        QVERIFY2(literals.size() >= 15, qPrintable(QString("only %1 icon literals found").arg(literals.size())));
        for (const auto& [literal, file] : literals)
            QTest::newRow(qPrintable(literal + " in " + file)) << literal;
    }

    // Compiled in (listed in res/halvoren.qrc), with a sharp @2x variant that a screen at twice the
    // density gets instead of the normal one blown up.
    void namedIconLoads()
    {
        QFETCH(QString, path);
        const QString sharp = path.chopped(4) + "@2x.png";
        for (const auto& [file, size] : { std::pair { path, iconSize }, std::pair { sharp, 2 * iconSize } }) {
            const QString problem = imageProblem(file, size);
            QVERIFY2(problem.isEmpty(), qPrintable(problem));
        }
        const QImage onHighDpi = QIcon(path).pixmap(QSize(iconSize, iconSize), 2.0).toImage();
        QVERIFY2(onHighDpi.convertToFormat(QImage::Format_ARGB32_Premultiplied)
                == QImage(sharp).convertToFormat(QImage::Format_ARGB32_Premultiplied),
            "the high-DPI pixmap is not the @2x file");
    }

    // Some icons are named by their folder and file name apart, which the scan above can't see.
    void everyIconIsCompiledIn()
    {
        for (const QString& png : QDir(sourceDir + "/res/Res").entryList({ "*.png" }, QDir::Files))
            QVERIFY2(QFile::exists(":/ico/MainWindow/Res/" + png), qPrintable(png + " is not in res/halvoren.qrc"));
    }

    // The desktop asks for the application and file-type icons at these sizes, and shows the
    // same mark as the About box and the tray.
    void desktopIconsAtEverySize()
    {
        const QString hicolor = sourceDir + "/packaging/icons/hicolor/";
        for (const QString icon :
            { "apps/halvoren", "mimetypes/application-x-halvoren-package", "mimetypes/application-x-halvoren-key" }) {
            for (int size : { 16, 22, 24, 32, 48, 64, 128, 256 }) {
                const QString problem = imageProblem(hicolor + QString("%1x%1/").arg(size) + icon + ".png", size);
                QVERIFY2(problem.isEmpty(), qPrintable(problem));
            }
        }
        QFile app(hicolor + "scalable/apps/halvoren.svg");
        QFile mark(sourceDir + "/res/svg/keyandlock.svg");
        QVERIFY(app.open(QIODevice::ReadOnly) && mark.open(QIODevice::ReadOnly));
        QVERIFY2(app.readAll() == mark.readAll(), "halvoren.svg differs from keyandlock.svg; run res/make-icons");
    }
};

int main(int argc, char** argv)
{
    // The resources live in the static GUI library; nothing else pulls them into this program.
    Q_INIT_RESOURCE(halvoren);
    // QIcon looks for @2x files only when the screen calls for them, so pretend a high-DPI screen.
    qputenv("QT_SCALE_FACTOR", "2");
    return runQtTest<ResourcesTest, QGuiApplication>(argc, argv);
}

#include "ResourcesTest.moc"
