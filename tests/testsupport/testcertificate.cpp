#include "testsupport/testcertificate.h"

#include <QFile>
#include <QProcess>

using namespace Qt::StringLiterals;

TestCertificate TestCertificate::generate(const QString &dir, const QString &name)
{
    TestCertificate result;
    result.certificatePath = dir + u'/' + name + u".crt"_s;
    const QString keyPath = dir + u'/' + name + u".key"_s;
    QProcess openssl;
    openssl.setProcessChannelMode(QProcess::MergedChannels);
    openssl.start(u"openssl"_s,
                  {u"req"_s, u"-x509"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s,
                   u"ec_paramgen_curve:prime256v1"_s, u"-nodes"_s, u"-days"_s, u"2"_s, u"-subj"_s,
                   u"/CN=KVT test "_s + name, u"-addext"_s, u"subjectAltName=IP:127.0.0.1"_s, u"-keyout"_s,
                   keyPath, u"-out"_s, result.certificatePath});
    if (!openssl.waitForFinished(30000) || openssl.exitStatus() != QProcess::NormalExit ||
        openssl.exitCode() != 0) {
        result.error =
            u"openssl failed: "_s + openssl.errorString() + u' ' + QString::fromLocal8Bit(openssl.readAll());
        return result;
    }
    QFile certificateFile(result.certificatePath);
    QFile keyFile(keyPath);
    if (certificateFile.open(QIODevice::ReadOnly) && keyFile.open(QIODevice::ReadOnly)) {
        result.certificate = QSslCertificate(certificateFile.readAll(), QSsl::Pem);
        result.key = QSslKey(keyFile.readAll(), QSsl::Ec, QSsl::Pem);
    }
    if (result.certificate.isNull() || result.key.isNull())
        result.error = u"the generated certificate or key does not load"_s;
    return result;
}
