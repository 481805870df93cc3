#pragma once

#include <QSslCertificate>
#include <QSslKey>
#include <QString>

// A test-only certificate for 127.0.0.1, made at run time by the openssl command line tool so
// that no key material is kept in the repository. It is self-signed, so its file is its own CA
// bundle for the HTTPS client.
struct TestCertificate
{
    QString certificatePath;
    QSslCertificate certificate;
    QSslKey key;
    QString error; // why generate() failed; empty on success

    // Writes <dir>/<name>.crt and <dir>/<name>.key.
    static TestCertificate generate(const QString &dir, const QString &name);
};
