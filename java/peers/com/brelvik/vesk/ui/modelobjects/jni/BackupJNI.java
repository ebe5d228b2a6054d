package com.brelvik.vesk.ui.modelobjects.jni;

/**
 * Backup of the appliance's configuration. May be called from several threads, after {@link JniInit#initializeJNI}.
 */
public final class BackupJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Exports the appliance's configuration into a file.
     *
     * @param file the file to write; not null. The shell sees it inside single quotes: the caller checks it for
     *     those. It is not given back until the process ends
     * @return the script's exit code, 0 to 255; 255 also when no shell could be started; 500 null argument
     */
    @ConsoleCommand(group = "host", name = "export", room = 2022, namesHome = true,
            help = "Export the configuration into a file.", codes = {0, 500}, form = ConsoleCommand.Form.EXIT_CODE)
    public native int doExport(@Arg(name = "FILE", help = "File to write", from = Arg.Source.POSITION,
            shape = Arg.Shape.FILE)
            String file);

    /**
     * Imports a configuration that was exported.
     *
     * @param file the file to read; not null. The shell sees it inside single quotes: the caller checks it for
     *     those. It is not given back until the process ends
     * @param mode passed on to the script; not null. The shell sees it inside single quotes: the caller checks it
     *     for those. It is not given back until the process ends
     * @return the script's exit code, 0 to 255; 255 also when no shell could be started; 500 null argument
     */
    @ConsoleCommand(group = "host", name = "import", room = 2019, namesHome = true,
            help = "Import a configuration from a file.", codes = {0, 500}, form = ConsoleCommand.Form.EXIT_CODE)
    public native int doImport(@Arg(name = "FILE", help = "File to read", from = Arg.Source.POSITION,
            shape = Arg.Shape.FILE)
            String file, @Arg(name = "MODE", help = "full, or policy", from = Arg.Source.POSITION,
            shape = Arg.Shape.WORD)
            String mode);
}
