// Scans a folder, follows the scan and takes what is dangerous into the quarantine.
//
//   ScanAndQuarantine FOLDER [PROGRAM ARGUMENTS]
//
// PROGRAM speaks the protocol over its standard streams, as korvelmock --stdio does; without it the service is asked. Exit
// code: 0 nothing dangerous, 1 everything dangerous is stored, 2 something was not carried out.
using System;
using System.Diagnostics;
using System.IO;
using System.Linq;

namespace Korvel
{
    /// <summary>Standard input and output of a program, as one stream.</summary>
    public sealed class ProgramStream : Stream
    {
        private readonly Process program;

        public ProgramStream(string path, string arguments)
        {
            program = Process.Start(new ProcessStartInfo(path, arguments)
            {
                UseShellExecute = false, RedirectStandardInput = true, RedirectStandardOutput = true
            });
        }

        public override bool CanRead { get { return true; } }
        public override bool CanWrite { get { return true; } }
        public override bool CanSeek { get { return false; } }
        public override long Length { get { throw new NotSupportedException(); } }
        public override long Position
        {
            get { throw new NotSupportedException(); }
            set { throw new NotSupportedException(); }
        }
        public override long Seek(long offset, SeekOrigin origin) { throw new NotSupportedException(); }
        public override void SetLength(long value) { throw new NotSupportedException(); }
        public override void Flush() { program.StandardInput.BaseStream.Flush(); }
        public override int Read(byte[] buffer, int offset, int count)
        {
            return program.StandardOutput.BaseStream.Read(buffer, offset, count);
        }
        public override void Write(byte[] buffer, int offset, int count)
        {
            program.StandardInput.BaseStream.Write(buffer, offset, count);
        }

        protected override void Dispose(bool disposing)
        {
            if (disposing)
            {
                try
                {
                    program.StandardInput.Close();
                }
                catch (IOException)
                {
                    // It has ended already.
                }
                program.Dispose();
            }
            base.Dispose(disposing);
        }
    }

    public static class ScanAndQuarantine
    {
        private const uint Dangerous = 3;

        public static int Main(string[] arguments)
        {
            if (arguments.Length == 0)
            {
                Console.Error.WriteLine("ScanAndQuarantine FOLDER [PROGRAM ARGUMENTS]");
                return 2;
            }
            Func<Stream> connect = () => KorvelPipe.Open();
            if (arguments.Length > 1)
                connect = () => new ProgramStream(arguments[1], string.Join(" ", arguments.Skip(2)));
            try
            {
                using (var service = new KorvelService(connect)) return Run(service, arguments[0]);
            }
            catch (Exception problem) when (problem is KorvelRefusedException || problem is KorvelUnreachableException
                || problem is KorvelBrokenExchangeException)
            {
                Console.Error.WriteLine(problem.GetType().Name + ": " + problem.Message);
                return 2;
            }
        }

        private static int Run(KorvelService service, string folder)
        {
            service.StartScan(KorvelScope.Custom, folder);
            KorvelProgress last = null;
            foreach (KorvelProgress progress in service.Follow())
            {
                last = progress;
                Console.WriteLine("{0}: {1} of {2} files", progress.Progress.Phase, progress.Progress.FilesDone,
                    progress.Progress.FilesTotal);
                foreach (KorvelEvent found in progress.Events) Console.WriteLine("meanwhile: {0} in {1}", found.Name, found.Path);
            }
            KorvelScanEnd end = last.End();
            Console.WriteLine("the scan is {0}", end);

            var dangerous = service.GetResults().Where(threat => threat.Severity >= Dangerous).ToList();
            bool good = end == KorvelScanEnd.Completed;
            foreach (KorvelThreat threat in dangerous)
            {
                try
                {
                    service.Decide(threat, KorvelAction.Quarantine);
                    Console.WriteLine("stored: {0} ({1})", threat.Path, threat.Name);
                }
                catch (KorvelRefusedException refusal)
                {
                    good = false;
                    Console.WriteLine("not stored: {0}: {1}", threat.Path, refusal.Message);
                }
            }
            Console.WriteLine("{0} files are in the quarantine", service.ListQuarantine().Count);
            if (!good) return 2;
            return dangerous.Count > 0 ? 1 : 0;
        }
    }
}
