// Qt: files without a buffer of their own, the thread pool, and a precise timer.
#include "peers.h"

#include <semaphore>

#include <QByteArray>
#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QString>
#include <QThreadPool>
#include <QTimer>

namespace peers
{

double qt_read()
{
    QFile file(QString::fromStdString(source_file()));
    require(file.open(QIODevice::ReadOnly | QIODevice::Unbuffered), "QFile::open failed");
    QByteArray bytes(block_size, '\0');
    return timed(file_blocks,
                 [&]
                 {
                     file.seek(0);
                     require(file.read(bytes.data(), block_size) == block_size,
                             "QFile::read failed");
                 });
}

double qt_write()
{
    QFile file(QString::fromStdString(path_of("qt-written")));
    require(file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered),
            "QFile::open failed");
    const QByteArray bytes(block_size, 'x');
    return timed(file_blocks,
                 [&] { require(file.write(bytes) == block_size, "QFile::write failed"); });
}

double qt_open()
{
    const QString path = QString::fromStdString(source_file());
    return timed(opens,
                 [&]
                 {
                     QFile file(path);
                     require(file.open(QIODevice::ReadOnly | QIODevice::Unbuffered),
                             "QFile::open failed");
                 });
}

double qt_pool()
{
    QThreadPool pool;
    std::binary_semaphore done(0);
    const auto call = [&]
    {
        pool.start([&done] { done.release(); });
        done.acquire();
    };
    call(); // starts the thread
    return timed(calls, call);
}

double qt_timer()
{
    static int count = 1;
    static char name[] = "plinth_peers";
    static char* words[] = {name, nullptr};
    static QCoreApplication application(count, words);
    Ticks seen;
    QEventLoop loop;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &loop,
                     [&]
                     {
                         if (!seen.add())
                             loop.quit();
                     });
    timer.start(timer_interval);
    loop.exec();
    return seen.error();
}

} // namespace peers
