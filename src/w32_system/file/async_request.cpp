// Constructing and destroying the record of a transfer.
#include "async_request.h"

QvAsyncRequest::QvAsyncRequest(QvAsyncKind transfer, void* first, QvFile on, uint64_t size,
                               const QvAsyncIo& async)
    : kind(transfer), buffer(static_cast<unsigned char*>(first)), file(on), offset(async.offset),
      remaining(size), total(size), completion(async.completion), context(async.context)
{
}

QvAsyncRequest::QvAsyncRequest(const volatile uint32_t* word, QvCopyCompletion callback, void* of)
    : kind(QV_ASYNC_COPY), buffer(new unsigned char[QV_ASYNC_BLOCK_SIZE]), file(nullptr),
      target(nullptr), copied(0), proceed(word), copyCompletion(callback), context(of)
{
}

QvAsyncRequest::~QvAsyncRequest()
{
    if (kind != QV_ASYNC_COPY)
        return;
    if (file)
        QV_CloseFile(file);
    if (target)
        QV_CloseFile(target);
    delete[] buffer;
}
