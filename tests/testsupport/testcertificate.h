#pragma once

// Test-only certificates, generated at run time with the openssl command line tool, so that
// no key material is kept in the repository. Each is self-signed for the address 127.0.0.1
// and serves as its own CA in a bundle handed to the HTTPS client through KVT_CA_BUNDLE.

#include <QFile>
#include <QProcess>
#include <QSslCertificate>
#include <QSslKey>
#include <QString>
#include <QStringList>

struct TestCertificate
{
    QString certificatePath;
    QString keyPath;
    QSslCertificate certificate;
    QSslKey key;
    QString error;

    bool isValid() const { return error.isEmpty() && !certificate.isNull() && !key.isNull(); }

    // Creates <dir>/<name>.crt and <dir>/<name>.key; check isValid() and error afterwards.
    static TestCertificate generate(const QString &dir, const QString &name,
                                    const QString &subjectAltName = QStringLiteral("IP:127.0.0.1"))
    {
        TestCertificate result;
        result.certificatePath = dir + u'/' + name + QStringLiteral(".crt");
        result.keyPath = dir + u'/' + name + QStringLiteral(".key");

        QProcess openssl;
        openssl.setProcessChannelMode(QProcess::MergedChannels);
        openssl.start(QStringLiteral("openssl"),
                      {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"),
                       QStringLiteral("ec"), QStringLiteral("-pkeyopt"),
                       QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes"),
                       QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-subj"),
                       QStringLiteral("/CN=KVT test ") + name, QStringLiteral("-addext"),
                       QStringLiteral("subjectAltName=") + subjectAltName, QStringLiteral("-keyout"),
                       result.keyPath, QStringLiteral("-out"), result.certificatePath});
        if (!openssl.waitForStarted(10000)) {
            result.error = QStringLiteral("cannot start openssl: ") + openssl.errorString();
            return result;
        }
        if (!openssl.waitForFinished(30000) || openssl.exitStatus() != QProcess::NormalExit ||
            openssl.exitCode() != 0) {
            result.error = QStringLiteral("openssl failed: ") + QString::fromLocal8Bit(openssl.readAll());
            return result;
        }

        QFile certificateFile(result.certificatePath);
        QFile keyFile(result.keyPath);
        if (!certificateFile.open(QIODevice::ReadOnly) || !keyFile.open(QIODevice::ReadOnly)) {
            result.error = QStringLiteral("cannot read the generated certificate");
            return result;
        }
        result.certificate = QSslCertificate(certificateFile.readAll(), QSsl::Pem);
        result.key = QSslKey(keyFile.readAll(), QSsl::Ec, QSsl::Pem);
        if (result.certificate.isNull() || result.key.isNull())
            result.error = QStringLiteral("the generated certificate or key does not load");
        return result;
    }
};
