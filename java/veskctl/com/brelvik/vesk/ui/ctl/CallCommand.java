package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.Arg;
import java.lang.reflect.Parameter;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import picocli.CommandLine.Command;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.Spec;

@Command(name = "call", sortOptions = false, header = "Call any native method.",
        description = {"", "Arguments follow in the order of the method. Integers may be words (openldap), texts "
                + "become what the method takes. @null is null, @password a password that is read as everywhere "
                + "else, @list an empty list, @@x the text @x. Lists that the method fills may be left out; they are "
                + "printed afterwards. Elements of other lists and of arrays are joined by commas.",
                "Without a name, all methods are listed. Options stand before the name."})
final class CallCommand implements Callable<Integer> {
    @Option(names = "--json", description = "Answer as one line of JSON")
    private boolean json;

    @Option(names = "--unchecked", description = "Pass texts on whatever they hold; a shell may run what is in them")
    private boolean unchecked;

    @Option(names = "--preloaded", hidden = true, description = "Only when commands are not run but shown")
    private boolean preloaded;

    @Option(names = "--password-file", paramLabel = "FILE", description = "First line is the password")
    private String passwordFile;

    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help")
    private boolean help;

    @Spec
    private CommandSpec spec;

    @Parameters(index = "0", arity = "0..1", paramLabel = "CLASS.METHOD", description = "e.g. LdapJNI.checkBaseDN")
    private String name;

    @Parameters(index = "1..*", paramLabel = "ARG", description = "Arguments of the method")
    private List<String> texts = new ArrayList<>();

    @Override
    public Integer call() {
        if (name == null) {
            PeerMethod.all().forEach(method -> Output.data(signature(method)));
            return Status.DONE.number();
        }
        PeerMethod method = PeerMethod.all().stream().filter(known -> known.name().equals(name)).findFirst()
                .orElseThrow(() -> new Refusal(Status.USAGE, "there is no native method " + name,
                        "run 'veskctl call' for a list"));
        if (preloaded) {
            DryRun.check();
        }
        Answer answer = Answer.of(method, values(method));
        if (preloaded && Integer.valueOf(0).equals(answer.code())) {
            return Status.DONE.number();  // whatever the log tells of commands that were not run
        }
        return answer.print(PeerArguments.asked(spec), json).number();
    }

    private Object[] values(PeerMethod method) {
        List<Parameter> parameters = method.parameters();
        long lists = parameters.stream().filter(PeerMethod::isList).count();
        boolean withLists = texts.size() == parameters.size();
        if (!withLists && texts.size() != parameters.size() - lists) {
            throw new Refusal(Status.USAGE, texts.size() + " arguments for " + signature(method),
                    "give one for each parameter; lists may be left out");
        }
        Object[] values = new Object[parameters.size()];
        int next = 0;
        for (int i = 0; i < values.length; i++) {
            boolean implied = !withLists && PeerMethod.isList(parameters.get(i));
            values[i] = value(parameters.get(i), implied ? "@list" : texts.get(next++));
        }
        if (!unchecked) {
            Values.checkRoom(method, values);
        }
        return values;
    }

    private Object value(Parameter parameter, String text) {
        Arg arg = PeerMethod.describe(parameter);
        if (text.equals("@null") && !parameter.getType().isPrimitive()) {
            return null;
        }
        if (text.equals("@list") && parameter.getType() == ArrayList.class) {
            return new ArrayList<String>();
        }
        if (text.equals("@password")) {
            return Values.of(parameter, Passwords.read(passwordFile, arg == null ? "Password" : arg.help()));
        }
        boolean isSecret = arg != null && (arg.from() == Arg.Source.SECRET || arg.from() == Arg.Source.INPUT);
        if (isSecret && !text.isEmpty()) {
            throw new Refusal(Status.REFUSED, arg.name() + ": every user of the machine can read a command line",
                    "write @password, and give it by --password-file, " + Passwords.VARIABLE + " or at the prompt");
        }
        String plain = text.startsWith("@@") ? text.substring(1) : text;
        return unchecked ? Values.unchecked(parameter, plain) : Values.of(parameter, plain);
    }

    private static String signature(PeerMethod method) {
        return method.parameters().stream().map(CallCommand::label)
                .collect(Collectors.joining(", ", method.name() + "(", ")"));
    }

    private static String label(Parameter parameter) {
        Arg arg = PeerMethod.describe(parameter);
        return parameter.getType().getSimpleName() + (arg == null ? "" : " " + arg.name());
    }
}
