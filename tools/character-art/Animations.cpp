#include "Animations.h"

#include <algorithm>
#include <cmath>

namespace {

// Collects the steps of one animation. Short steps are motion and stay within 60..200 ms after
// the character's tempo is applied; longer ones are holds.
class Seq {
public:
    Seq(const Figure& f, QString name) : f_(f) { anim_.name = std::move(name); }

    Seq& operator()(const P& p, int ms, const char* sound = nullptr) {
        anim_.steps.push_back({p.pose(), time(ms), sound ? QString::fromLatin1(sound) : QString()});
        return *this;
    }
    Seq& hidden(int ms, const char* sound = nullptr) {
        anim_.steps.push_back({std::nullopt, time(ms), sound ? QString::fromLatin1(sound) : QString()});
        return *this;
    }
    ArtAnimation done() { return std::move(anim_); }

private:
    int time(int ms) const {
        const int t = int(std::lround(ms * f_.tempo));
        return ms <= 200 ? std::clamp(t, 60, 200) : std::max(t, 240);
    }
    const Figure& f_;
    ArtAnimation anim_;
};

class Choreographer {
public:
    explicit Choreographer(const Figure& f) : f_(f), r_(f.rest()) {}

    Choreography build() {
        entrances();
        conversation();
        tools();
        moods();
        idles();
        playful();
        return std::move(out_);
    }

private:
    bool is(const char* id) const { return f_.id == QLatin1String(id); }
    Seq seq(const char* name) const { return Seq(f_, QString::fromLatin1(name)); }
    void add(Seq s) { out_.animations.push_back(s.done()); }

    void entrances() {
        add(seq("RestPose")(r_, 1000));
        add(seq("Show").hidden(60, "show")(P().absent().fx(Fx::Poof, 0),
                                           90)(r_.scale(1.2, 0.75).fx(Fx::Poof, 1), 90)(
            r_.scale(0.92, 1.07).eyes(Eyes::Happy).mouth(Mouth::Grin).fx(Fx::Poof, 2),
            90)(r_.eyes(Eyes::Happy).mouth(Mouth::Grin), 120)(r_.right(Arm::WaveA).mouth(Mouth::Grin),
                                                              140)(r_, 240));
        add(seq("Hide")(r_.right(Arm::WaveA).eyes(Eyes::Happy), 140,
                        "hide")(r_.right(Arm::WaveB).eyes(Eyes::Happy),
                                120)(r_.bob(1).scale(1.12, 0.86).eyes(Eyes::Closed), 90)(
                r_.scale(0.88, 1.08).dy(-1).eyes(Eyes::Closed), 80)(P().absent().fx(Fx::Poof, 0),
                                                                    90)(P().absent().fx(Fx::Poof, 1), 90)
                .hidden(60));
    }

    void conversation() {
        const P happy = r_.eyes(Eyes::Happy).mouth(Mouth::Grin);
        add(seq("Wave")(r_.right(Arm::Raise), 120)(happy.right(Arm::WaveA), 140)(
            happy.right(Arm::WaveB), 140)(happy.right(Arm::WaveA), 140)(happy.right(Arm::WaveB), 140)(
            happy.right(Arm::WaveA), 140)(r_.right(Arm::Raise).eyes(Eyes::Happy), 120)(r_, 240));
        add(seq("Greet")(r_.right(Arm::Raise).mouth(Mouth::Open), 120)(happy.right(Arm::WaveA), 140)(
            happy.right(Arm::WaveB), 140)(happy.right(Arm::WaveA),
                                          160)(r_.right(Arm::Raise).eyes(Eyes::Happy), 120)(r_, 240));
        // A small bow, then a wave.
        add(seq("Greeting")(r_.bob(1).head(0, 1).eyes(Eyes::Closed),
                            120)(r_.bob(2).head(0, 1).eyes(Eyes::Closed).mouth(Mouth::Smile),
                                 300)(r_.bob(1).eyes(Eyes::Happy), 100)(happy.right(Arm::WaveA), 140)(
            happy.right(Arm::WaveB), 140)(happy.right(Arm::WaveA), 160)(r_.eyes(Eyes::Happy), 200)(r_, 240));
        add(seq("Explain")(r_.right(Arm::Raise).mouth(Mouth::Open),
                           160)(r_.right(Arm::Raise).mouth(Mouth::Smile),
                                140)(r_.right(Arm::Offer).mouth(Mouth::Open).look(1),
                                     180)(r_.right(Arm::Offer).mouth(Mouth::Smile).look(1),
                                          140)(r_.right(Arm::Raise).mouth(Mouth::Open).brows(Brows::Raised),
                                               160)(r_.right(Arm::Raise), 300)(r_, 240));
        add(seq("GetAttention")(r_.right(Arm::Raise).eyes(Eyes::Wide), 100, "attention")(
            r_.right(Arm::WaveA).mouth(Mouth::Open).fx(Fx::Exclaim, 0).dy(-1),
            120)(r_.right(Arm::WaveB).mouth(Mouth::Grin).fx(Fx::Exclaim, 1),
                 120)(r_.right(Arm::WaveA).mouth(Mouth::Open).fx(Fx::Exclaim, 0).dy(-1),
                      120)(r_.right(Arm::WaveB).mouth(Mouth::Grin).fx(Fx::Exclaim, 1),
                           120)(r_.right(Arm::Point).mouth(Mouth::Smile).fx(Fx::Exclaim, 0), 500)(r_, 240));
        add(seq("Reassure")(r_.right(Arm::Tie).mouth(Mouth::Smile), 150)(
            r_.right(Arm::Tie).head(0, 1).eyes(Eyes::Closed), 150)(r_.right(Arm::Tie).eyes(Eyes::Happy), 200)(
            r_.right(Arm::Offer).eyes(Eyes::Happy).blush(), 500)(r_.right(Arm::Out), 120)(r_, 240));
        add(seq("Pleased")(r_.eyes(Eyes::Happy).mouth(Mouth::Grin).blush().bob(1), 100)(
            r_.eyes(Eyes::Happy).mouth(Mouth::Grin).blush().dy(-2).legs(Legs::Tiptoe),
            110)(r_.eyes(Eyes::Happy).mouth(Mouth::Grin).blush().bob(1).fx(Fx::Sparkles, 0),
                 100)(r_.eyes(Eyes::Happy).mouth(Mouth::Grin).blush().dy(-2).fx(Fx::Sparkles, 1), 110)(
            r_.eyes(Eyes::Happy).mouth(Mouth::Smile).blush().fx(Fx::Sparkles, 2), 500)(r_, 240));
        const P cheer = r_.eyes(Eyes::Happy).mouth(Mouth::Grin);
        add(seq("Congratulate")(r_.bob(1).eyes(Eyes::Closed), 80, "congratulate")(
            cheer.arms(Arm::Up, Arm::Up).dy(-3).scale(0.95, 1.06).fx(Fx::Confetti, 0),
            120)(cheer.arms(Arm::Up, Arm::Up).dy(-1).fx(Fx::Confetti, 1),
                 120)(cheer.arms(Arm::Cheer, Arm::Cheer).bob(1).fx(Fx::Confetti, 2),
                      120)(cheer.arms(Arm::Cheer, Arm::Cheer).fx(Fx::Confetti, 0),
                           160)(cheer.arms(Arm::Clap, Arm::Clap).fx(Fx::Confetti, 1),
                                120)(cheer.arms(Arm::Out, Arm::Out).fx(Fx::Confetti, 2),
                                     120)(cheer.arms(Arm::Clap, Arm::Clap).fx(Fx::Sparkles, 0),
                                          120)(r_.eyes(Eyes::Happy).fx(Fx::Sparkles, 1), 400)(r_, 240));
        add(seq("Alert")(
            r_.arms(Arm::Raise, Arm::Raise).eyes(Eyes::Wide).mouth(Mouth::O).dy(-2).fx(Fx::Exclaim, 0), 100,
            "alert")(r_.arms(Arm::Raise, Arm::Raise).eyes(Eyes::Wide).mouth(Mouth::O).fx(Fx::Exclaim, 1),
                     120)(r_.eyes(Eyes::Wide).mouth(Mouth::O).brows(Brows::Raised).fx(Fx::Exclaim, 0),
                          600)(r_.eyes(Eyes::Open).mouth(Mouth::Flat).brows(Brows::Raised), 150)(r_, 240));
        add(seq("Catch")(r_.arms(Arm::Up, Arm::Up).eyes(Eyes::Up).mouth(Mouth::O).prop(Prop::Ball, 0), 120)(
            r_.arms(Arm::Cheer, Arm::Cheer).eyes(Eyes::Up).mouth(Mouth::O).prop(Prop::Ball, 1),
            120)(r_.arms(Arm::Hold, Arm::Hold).bob(1).eyes(Eyes::Closed).prop(Prop::Ball, 2), 150,
                 "catch")(r_.arms(Arm::Hold, Arm::Hold)
                              .eyes(Eyes::Happy)
                              .mouth(Mouth::Grin)
                              .prop(Prop::Ball, 2)
                              .fx(Fx::Shine),
                          500)(r_.eyes(Eyes::Happy), 150)(r_, 240));
    }

    void tools() {
        const P think = r_.right(Arm::Chin).eyes(Eyes::Up).mouth(Mouth::Flat);
        add(seq("Thinking")(think.fx(Fx::Dots, 1), 300)(think.fx(Fx::Dots, 2), 300)(
            think.fx(Fx::Dots, 3), 400)(think.look(-1).eyes(Eyes::Left).fx(Fx::Dots, 3),
                                        400)(think.fx(Fx::Dots, 2), 300));
        const P scratch = r_.right(Arm::Scratch).eyes(Eyes::Up).mouth(Mouth::Wavy);
        add(seq("Think")(scratch.fx(Fx::Question, 0), 200)(scratch.head(1, 0).fx(Fx::Question, 1), 200)(
            scratch.fx(Fx::Question, 0).look(1), 200)(scratch.head(-1, 0).fx(Fx::Question, 1), 200));
        const P gears = r_.right(Arm::Chin).eyes(Eyes::Up).mouth(Mouth::Flat);
        add(seq("Processing")(gears.fx(Fx::Gears, 0), 130)(gears.fx(Fx::Gears, 1), 130)(
            gears.fx(Fx::Gears, 2).eyes(Eyes::Half), 130)(gears.fx(Fx::Gears, 0), 130)(
            gears.fx(Fx::Gears, 1).look(1), 130)(gears.fx(Fx::Gears, 2).look(1), 130));
        add(seq("Process")(gears.fx(Fx::Gears, 0), 130)(gears.fx(Fx::Gears, 1), 130)(
            gears.fx(Fx::Gears, 2), 130)(gears.fx(Fx::Gears, 0), 130)(gears.fx(Fx::Gears, 1), 130)(
            r_.right(Arm::Raise).eyes(Eyes::Wide).mouth(Mouth::Grin).fx(Fx::Idea, 1), 400)(r_, 240));
        const P write = r_.arms(Arm::Hold, Arm::Write).eyes(Eyes::Down).mouth(Mouth::Smile);
        for (const char* name : {"Writing", "Write"})
            add(seq(name)(write.prop(Prop::Notepad, 0), 160)(write.prop(Prop::Notepad, 1), 160)(
                write.prop(Prop::Notepad, 2), 160)(write.prop(Prop::Notepad, 3).mouth(Mouth::Flat), 200));
        const P lens = r_.eyes(Eyes::Open).mouth(Mouth::O).prop(Prop::Magnifier);
        add(seq("Searching")(lens.right(Arm::Offer).eyes(Eyes::Right).look(1),
                             200)(lens.right(Arm::Hold).prop(Prop::Magnifier, 1),
                                  160)(lens.right(Arm::Clap).eyes(Eyes::Left).look(-1),
                                       200)(lens.right(Arm::Hold).prop(Prop::Magnifier, 1), 160));
        const P shade = r_.right(Arm::Shade).mouth(Mouth::Flat);
        add(seq("Search")(shade.look(-1).eyes(Eyes::Left).head(-1, 0),
                          300)(shade, 160)(shade.look(1).eyes(Eyes::Right).head(1, 0), 300)(shade, 160));
        const P cal = r_.arms(Arm::Hold, Arm::Write).eyes(Eyes::Down).mouth(Mouth::Smile);
        add(seq("CheckingSchedule")(cal.prop(Prop::Calendar, 0), 200)(cal.prop(Prop::Calendar, 1), 200)(
            cal.prop(Prop::Calendar, 2), 200)(cal.prop(Prop::Calendar, 3).eyes(Eyes::Open),
                                              300)(cal.prop(Prop::Calendar, 4).eyes(Eyes::Up), 160));
        const P form = r_.arms(Arm::Hold, Arm::Write).eyes(Eyes::Down).mouth(Mouth::Flat);
        add(seq("RecordingLeave")(form.prop(Prop::Form, 0), 180)(form.prop(Prop::Form, 1), 180)(
            form.prop(Prop::Form, 2), 180)(form.prop(Prop::Form, 3).mouth(Mouth::Smile), 300)(
            form.prop(Prop::Form, 4).eyes(Eyes::Open).mouth(Mouth::Smile), 160));
        const P folder = r_.arms(Arm::Hold, Arm::Hold).mouth(Mouth::Flat);
        add(seq("ReviewingRecords")(folder.prop(Prop::Folder, 0).eyes(Eyes::Left).look(-1),
                                    300)(folder.prop(Prop::Folder, 1).eyes(Eyes::Down),
                                         300)(folder.prop(Prop::Folder, 2).eyes(Eyes::Right).look(1),
                                              300)(folder.prop(Prop::Folder, 1).eyes(Eyes::Down), 200));
        const P book = r_.arms(Arm::Hold, Arm::Hold).eyes(Eyes::Down).mouth(Mouth::Flat);
        add(seq("ReadingPolicy")(book.prop(Prop::Book, 0).look(-1),
                                 400)(book.prop(Prop::Book, 0).look(1),
                                      400)(book.prop(Prop::Book, 2), 140)(book.prop(Prop::Book, 1), 200));
        add(seq("Reading")(r_.arms(Arm::Hold, Arm::Hold).prop(Prop::Book, 2).eyes(Eyes::Open),
                           120)(book.prop(Prop::Book, 0).look(-1), 500)(book.prop(Prop::Book, 0).look(1),
                                                                        500)(book.prop(Prop::Book, 2), 140)(
            book.prop(Prop::Book, 0).mouth(Mouth::Smile), 500)(r_.eyes(Eyes::Happy), 150)(r_, 240));
        const P card = r_.mouth(Mouth::Smile);
        add(seq("CoordinatingCover")(
            card.arms(Arm::Offer, Arm::Rest).prop(Prop::Card, 0).look(-1).eyes(Eyes::Left).fx(Fx::Swap, 0),
            240)(card.arms(Arm::Clap, Arm::Clap).prop(Prop::Card, 1).fx(Fx::Swap, 1), 160)(
            card.arms(Arm::Rest, Arm::Offer).prop(Prop::Card, 2).look(1).eyes(Eyes::Right).fx(Fx::Swap, 0),
            240)(card.arms(Arm::Clap, Arm::Clap).prop(Prop::Card, 1).fx(Fx::Swap, 1), 160));
        add(seq("Delegating")(r_.right(Arm::Offer).prop(Prop::Paper, 0).mouth(Mouth::Open), 200)(
            r_.right(Arm::Point).prop(Prop::Paper, 1).look(1).eyes(Eyes::Right).fx(Fx::Arrow, 1),
            140)(r_.right(Arm::Point).prop(Prop::None).look(1).eyes(Eyes::Right).fx(Fx::Check),
                 300)(r_.right(Arm::Clap).prop(Prop::None).mouth(Mouth::Smile), 140));
        const P scroll = r_.arms(Arm::Hold, Arm::Write).eyes(Eyes::Down).mouth(Mouth::Smile);
        add(seq("WritingProposal")(scroll.prop(Prop::Scroll, 0), 180)(scroll.prop(Prop::Scroll, 1), 180)(
            scroll.prop(Prop::Scroll, 2).mouth(Mouth::Flat), 180)(scroll.prop(Prop::Scroll, 1), 180));
        add(seq("SendMail")(r_.right(Arm::Hold).prop(Prop::Letter).eyes(Eyes::Down), 300)(
            r_.right(Arm::Hold).prop(Prop::Envelope).eyes(Eyes::Down).mouth(Mouth::Smile),
            200)(r_.right(Arm::Raise).prop(Prop::Envelope).mouth(Mouth::Smile),
                 120)(r_.right(Arm::Cheer).prop(Prop::Envelope).eyes(Eyes::Up), 120, "mail")(
            r_.right(Arm::Cheer).prop(Prop::None).eyes(Eyes::Up).mouth(Mouth::Grin).fx(Fx::Flying, 0),
            120)(r_.right(Arm::Raise).prop(Prop::None).eyes(Eyes::Happy).mouth(Mouth::Grin).fx(Fx::Flying, 1),
                 140)(r_.right(Arm::Clap).prop(Prop::None).eyes(Eyes::Happy).fx(Fx::Flying, 2), 160));
        add(seq("DropNearby")(r_.arms(Arm::Offer, Arm::Offer).eyes(Eyes::Up).mouth(Mouth::O),
                              300)(r_.arms(Arm::Out, Arm::Offer).eyes(Eyes::Up).mouth(Mouth::O).bob(1), 200)(
            r_.arms(Arm::Offer, Arm::Offer).eyes(Eyes::Up).mouth(Mouth::Smile),
            300)(r_.arms(Arm::Offer, Arm::Out).eyes(Eyes::Up).mouth(Mouth::O).bob(1), 200));
        const P ready = r_.arms(Arm::Open, Arm::Open).eyes(Eyes::Happy).mouth(Mouth::Grin);
        add(seq("DropReady")(ready, 140)(ready.dy(-2).legs(Legs::Tiptoe), 140)(
            ready.bob(1).fx(Fx::Shine), 140)(ready.dy(-2).legs(Legs::Tiptoe), 140));
    }

    void moods() {
        add(seq("CheckingSomething")(r_.right(Arm::Hold).prop(Prop::Magnifier).eyes(Eyes::Right).look(1),
                                     200)(
            r_.right(Arm::Clap).prop(Prop::Magnifier, 1).eyes(Eyes::Left).look(-1),
            200)(r_.right(Arm::Hold).prop(Prop::Magnifier).eyes(Eyes::Down),
                 300)(r_.right(Arm::Out).eyes(Eyes::Happy).fx(Fx::Check), 400)(r_, 240));
        const P puzzled = r_.right(Arm::Scratch).mouth(Mouth::Wavy).brows(Brows::Worried);
        add(seq("Confused")(puzzled.head(1, 0),
                            150)(puzzled.head(1, 0).eyes(Eyes::Up).fx(Fx::Question, 0),
                                 300)(puzzled.head(1, 0).eyes(Eyes::Up).fx(Fx::Question, 1),
                                      300)(puzzled.head(-1, 0).eyes(Eyes::Left).fx(Fx::Question, 0),
                                           300)(r_.mouth(Mouth::Flat), 150)(r_, 240));
        add(seq("DontRecognize")(r_.arms(Arm::Out, Arm::Out).mouth(Mouth::Flat), 120)(
            r_.arms(Arm::Shrug, Arm::Shrug).eyes(Eyes::Closed).mouth(Mouth::Wavy).brows(Brows::Raised).bob(1),
            150)(r_.arms(Arm::Shrug, Arm::Shrug)
                     .eyes(Eyes::Half)
                     .mouth(Mouth::Wavy)
                     .brows(Brows::Raised)
                     .fx(Fx::Question),
                 600)(r_.arms(Arm::Out, Arm::Out).mouth(Mouth::Flat), 120)(r_, 240));
        const P stressed = r_.arms(Arm::Scratch, Arm::Scratch).eyes(Eyes::Squint).mouth(Mouth::Wavy);
        add(seq("Stressed")(stressed.at(-1, 0).fx(Fx::Sweat, 0), 80)(stressed.at(1, 0).fx(Fx::Sweat, 0), 80)(
            stressed.at(-1, 0).fx(Fx::Sweat, 1), 80)(stressed.at(1, 0).fx(Fx::Sweat, 1), 80)(
            stressed.eyes(Eyes::Wide).fx(Fx::Steam, 0), 200)(stressed.eyes(Eyes::Wide).fx(Fx::Steam, 1), 300)(
            r_.eyes(Eyes::Half).mouth(Mouth::Frown).brows(Brows::Worried), 300)(r_, 240));
        const P unsure = r_.right(Arm::Chin).mouth(Mouth::Wavy).brows(Brows::Worried);
        add(seq("Uncertain")(unsure.eyes(Eyes::Left).look(-1), 300)(unsure.eyes(Eyes::Right).look(1), 300)(
            unsure.eyes(Eyes::Up).fx(Fx::Dots, 2), 400)(unsure.eyes(Eyes::Half).fx(Fx::Dots, 3),
                                                        400)(r_.mouth(Mouth::Flat), 150)(r_, 240));
    }

    void idles() {
        add(seq("IdleBlink")(r_.eyes(Eyes::Half), 70)(r_.eyes(Eyes::Closed), 90)(r_.eyes(Eyes::Half), 70)(
            r_, 600)(r_.eyes(Eyes::Half), 70)(r_.eyes(Eyes::Closed), 90)(r_, 240));
        add(seq("IdleBreathe")(r_.bob(1).hair(1), 200)(r_.bob(1).eyes(Eyes::Half).hair(1),
                                                       600)(r_.bob(1).hair(1), 200)(r_, 800));
        add(seq("IdleGlance")(r_.look(-1).eyes(Eyes::Left), 600)(r_.eyes(Eyes::Half), 80)(r_, 160)(
            r_.look(1).eyes(Eyes::Right), 600)(r_, 240));
        add(seq("IdleLookAround")(r_.head(-1, 0).look(-1).eyes(Eyes::Left).hair(-1), 500)(
            r_.head(0, -1).eyes(Eyes::Up), 160)(r_.head(1, 0).look(1).eyes(Eyes::Right).hair(1),
                                                500)(r_.head(1, 0).look(1).eyes(Eyes::Closed).hair(1), 90)(
            r_.head(1, 0).look(1).eyes(Eyes::Right).hair(1), 300)(r_, 240));
        add(seq("IdleStretch")(r_.arms(Arm::Raise, Arm::Raise).eyes(Eyes::Closed), 140)(
            r_.arms(Arm::Up, Arm::Up)
                .eyes(Eyes::Closed)
                .mouth(Mouth::O)
                .scale(0.95, 1.05)
                .legs(Legs::Tiptoe)
                .dy(-1),
            700)(r_.arms(Arm::Cheer, Arm::Cheer).eyes(Eyes::Happy).mouth(Mouth::Smile),
                 140)(r_.arms(Arm::Out, Arm::Out).eyes(Eyes::Happy).bob(1), 140)(r_, 240));
        fidget();
        add(seq("IdleYawn")(r_.eyes(Eyes::Half),
                            200)(r_.right(Arm::Mouth).eyes(Eyes::Closed).mouth(Mouth::Yawn).bob(1), 200)(
            r_.arms(Arm::Rest, Arm::Mouth).eyes(Eyes::Closed).mouth(Mouth::Yawn).scale(0.97, 1.04),
            900)(r_.eyes(Eyes::Closed).mouth(Mouth::Flat), 200)(r_.eyes(Eyes::Half), 300)(r_, 240));
        const P doze = r_.eyes(Eyes::Closed).mouth(Mouth::Flat).bob(1).head(0, 1);
        add(seq("IdleDoze")(r_.eyes(Eyes::Half), 400)(doze.fx(Fx::Zzz, 0), 700)(
            doze.fx(Fx::Zzz, 1).bob(0), 700)(doze.fx(Fx::Zzz, 2), 700)(doze.fx(Fx::Zzz, 1).bob(0), 700)(
            doze.fx(Fx::Zzz, 2), 700)(r_.eyes(Eyes::Wide).mouth(Mouth::O).dy(-1).fx(Fx::Exclaim),
                                      160)(r_.eyes(Eyes::Half), 200)(r_, 240));
        const P read = r_.arms(Arm::Hold, Arm::Hold).eyes(Eyes::Down).mouth(Mouth::Flat);
        add(seq("IdleRead")(r_.arms(Arm::Hold, Arm::Hold).prop(Prop::Book, 2), 140)(
            read.prop(Prop::Book, 0).look(-1), 1200)(read.prop(Prop::Book, 0).look(1), 1200)(
            read.prop(Prop::Book, 2), 160)(read.prop(Prop::Book, 1).look(-1), 1200)(
            read.prop(Prop::Book, 1).look(1).mouth(Mouth::Smile), 1200)(r_.eyes(Eyes::Happy), 150)(r_, 240));
        out_.idle = {{"IdleBlink", "IdleBreathe", "IdleGlance"},
                     {"IdleLookAround", "IdleStretch", "IdleFidget"},
                     {"IdleYawn", "IdleDoze", "IdleRead"}};
    }

    // Each character fidgets with its own things.
    void fidget() {
        if (is("dorn")) {
            add(seq("IdleFidget")(r_.right(Arm::Tie).head(0, -1).eyes(Eyes::Closed),
                                  200)(r_.right(Arm::Tie).head(0, -1).eyes(Eyes::Closed).bob(1), 160)(
                r_.right(Arm::Tie).head(0, -1), 200)(r_.right(Arm::Out).eyes(Eyes::Happy), 300)(r_, 240));
        } else if (is("lirra")) {
            add(seq("IdleFidget")(r_.right(Arm::Scratch).hair(1).eyes(Eyes::Up),
                                  180)(r_.right(Arm::Scratch).hair(0).eyes(Eyes::Up).look(1),
                                       180)(r_.right(Arm::Scratch).hair(-1).eyes(Eyes::Up), 180)(
                r_.right(Arm::Scratch).hair(0).eyes(Eyes::Happy), 300)(r_, 240));
        } else if (is("morvo")) {
            add(seq("IdleFidget")(r_.left(Arm::Out).eyes(Eyes::Left).look(-1), 160)(
                r_.left(Arm::Raise).eyes(Eyes::Up).look(-1), 160)(r_.left(Arm::Up).eyes(Eyes::Up).dy(0), 160)(
                r_.left(Arm::Raise).eyes(Eyes::Up), 140)(r_.left(Arm::Out).eyes(Eyes::Happy), 200)(r_, 240));
        } else {
            const P watch = r_.right(Arm::Hold).prop(Prop::Watch).eyes(Eyes::Down);
            add(seq("IdleFidget")(watch.prop(Prop::Watch, 0), 300)(watch.prop(Prop::Watch, 1), 300)(
                watch.prop(Prop::Watch, 2), 300)(watch.prop(Prop::Watch, 3).eyes(Eyes::Happy), 300)(r_, 240));
        }
    }

    void playful() {
        const P happy = r_.eyes(Eyes::Happy).mouth(Mouth::Grin);
        if (is("dorn")) {
            const P stamp = r_.arms(Arm::Hold, Arm::Write).eyes(Eyes::Down).mouth(Mouth::Flat);
            add(seq("Stamp")(stamp.prop(Prop::Stamp, 0), 300)(stamp.prop(Prop::Stamp, 0).bob(-1).head(0, 0),
                                                              120)(stamp.prop(Prop::Stamp, 1).bob(1), 100)(
                stamp.prop(Prop::Stamp, 1).eyes(Eyes::Happy).fx(Fx::Check),
                500)(stamp.prop(Prop::Stamp, 0).eyes(Eyes::Happy), 150)(r_, 240));
            add(seq("StraightenTie")(r_.right(Arm::Tie).eyes(Eyes::Down),
                                     160)(r_.right(Arm::Tie).eyes(Eyes::Down).head(1, 0),
                                          160)(r_.right(Arm::Tie).eyes(Eyes::Down).head(-1, 0), 160)(
                r_.right(Arm::Tie).head(0, -1).eyes(Eyes::Closed).mouth(Mouth::Smile), 400)(r_, 240));
            add(seq("Bow")(r_.right(Arm::Tie),
                           150)(r_.right(Arm::Tie).bob(1).head(0, 1).eyes(Eyes::Closed),
                                150)(r_.right(Arm::Tie).bob(2).head(0, 2).eyes(Eyes::Closed),
                                     600)(r_.right(Arm::Tie).bob(1).head(0, 1).eyes(Eyes::Closed),
                                          150)(r_.eyes(Eyes::Happy), 200)(r_, 240));
            add(seq("Approve")(r_.right(Arm::Raise).mouth(Mouth::Open), 160)(
                r_.right(Arm::Raise).head(0, 1), 120)(r_.right(Arm::Raise).head(0, 0).eyes(Eyes::Happy), 120)(
                r_.right(Arm::Point).eyes(Eyes::Happy).mouth(Mouth::Smile).fx(Fx::Check), 500)(r_, 240));
        } else if (is("lirra")) {
            const P dance = happy.fx(Fx::Notes, 0);
            add(seq("Dance")(dance.arms(Arm::Cheer, Arm::Hip).legs(Legs::StepLeft).hair(1).head(-1, 0),
                             160)(dance.arms(Arm::Hip, Arm::Hip).bob(1).fx(Fx::Notes, 1), 140)(
                dance.arms(Arm::Hip, Arm::Cheer).legs(Legs::StepRight).hair(-1).head(1, 0).fx(Fx::Notes, 2),
                160)(dance.arms(Arm::Hip, Arm::Hip).bob(1).fx(Fx::Notes, 0), 140)(
                dance.arms(Arm::Cheer, Arm::Hip).legs(Legs::StepLeft).hair(1).head(-1, 0).fx(Fx::Notes, 1),
                160)(dance.arms(Arm::Up, Arm::Up).dy(-2).legs(Legs::Tiptoe).fx(Fx::Notes, 2),
                     160)(happy, 200)(r_, 240));
            add(seq("BlowKiss")(r_.right(Arm::Mouth).mouth(Mouth::Kiss).eyes(Eyes::Closed), 300)(
                r_.right(Arm::Offer).mouth(Mouth::Smile).eyes(Eyes::Wink).fx(Fx::Hearts, 0),
                160)(r_.right(Arm::Offer).mouth(Mouth::Smile).eyes(Eyes::Wink).fx(Fx::Hearts, 1),
                     160)(r_.right(Arm::Out).eyes(Eyes::Happy).blush().fx(Fx::Hearts, 2), 400)(r_, 240));
            add(seq("Twirl")(r_.arms(Arm::Out, Arm::Out).eyes(Eyes::Happy).hair(-1),
                             100)(r_.arms(Arm::Out, Arm::Out).scale(0.7, 1.0).eyes(Eyes::Happy).hair(1),
                                  90)(r_.arms(Arm::Out, Arm::Out).back().hair(1),
                                      110)(r_.arms(Arm::Out, Arm::Out).back().scale(0.7, 1.0).hair(-1), 90)(
                happy.arms(Arm::Open, Arm::Open).hair(-1).fx(Fx::Sparkles, 0),
                120)(happy.arms(Arm::Open, Arm::Open).hair(0).fx(Fx::Sparkles, 1), 300)(r_, 240));
            add(seq("HairFlip")(r_.right(Arm::Scratch).eyes(Eyes::Closed).hair(-1).head(-1, 0),
                                140)(r_.right(Arm::Scratch).eyes(Eyes::Closed).hair(0), 100)(
                r_.right(Arm::Raise).eyes(Eyes::Happy).mouth(Mouth::Grin).hair(1).head(1, 0),
                120)(r_.eyes(Eyes::Wink).hair(1).fx(Fx::Shine), 400)(r_.hair(0), 240));
        } else if (is("morvo")) {
            const P hammer = r_.right(Arm::Raise).eyes(Eyes::Squint).mouth(Mouth::Flat);
            add(seq("Hammer")(hammer.prop(Prop::Hammer, 0),
                              200)(hammer.right(Arm::Offer).prop(Prop::Hammer, 1).bob(1), 100)(
                hammer.prop(Prop::Hammer, 0), 160)(hammer.right(Arm::Offer).prop(Prop::Hammer, 1).bob(1),
                                                   100)(hammer.prop(Prop::Hammer, 0).eyes(Eyes::Open), 160)(
                hammer.right(Arm::Offer).prop(Prop::Hammer, 1).bob(1).fx(Fx::Shine),
                100)(r_.eyes(Eyes::Happy).mouth(Mouth::Grin).fx(Fx::Check), 400)(r_, 240));
            add(seq("FlexMuscles")(r_.arms(Arm::Out, Arm::Out).mouth(Mouth::Flat), 120)(
                r_.arms(Arm::Flex, Arm::Flex).eyes(Eyes::Squint).mouth(Mouth::Grin).bob(1),
                200)(r_.arms(Arm::Flex, Arm::Flex).eyes(Eyes::Wink).mouth(Mouth::Grin).fx(Fx::Shine),
                     600)(r_.arms(Arm::Out, Arm::Out).eyes(Eyes::Happy), 140)(r_, 240));
            const P tape = r_.prop(Prop::Tape).eyes(Eyes::Down).mouth(Mouth::Flat);
            add(seq("Measure")(tape.arms(Arm::Front, Arm::Clap), 160)(tape.arms(Arm::Front, Arm::Offer), 160)(
                tape.arms(Arm::Out, Arm::Open).eyes(Eyes::Right).look(1),
                300)(tape.arms(Arm::Out, Arm::Open).eyes(Eyes::Happy).fx(Fx::Check),
                     400)(tape.arms(Arm::Front, Arm::Clap), 140)(r_, 240));
            add(seq("TipHat")(r_.right(Arm::Scratch),
                              140)(r_.right(Arm::Scratch).special(1).eyes(Eyes::Happy), 140)(
                r_.right(Arm::Raise).special(2).eyes(Eyes::Happy).mouth(Mouth::Grin).head(0, 1),
                400)(r_.right(Arm::Scratch).special(1).eyes(Eyes::Happy), 140)(r_.right(Arm::Scratch),
                                                                               120)(r_, 240));
        } else {
            const P watch = r_.right(Arm::Hold).prop(Prop::Watch).eyes(Eyes::Down);
            add(seq("CheckWatch")(r_.right(Arm::Out).eyes(Eyes::Down),
                                  120)(watch.prop(Prop::Watch, 0), 400)(watch.prop(Prop::Watch, 1), 300)(
                watch.prop(Prop::Watch, 1).eyes(Eyes::Wide).mouth(Mouth::O).fx(Fx::Exclaim).dy(-1),
                200)(watch.prop(Prop::Watch, 1).eyes(Eyes::Happy).mouth(Mouth::Grin), 300)(r_, 240));
            const P hop = happy.arms(Arm::Cheer, Arm::Cheer);
            add(seq("Hop")(r_.bob(1).eyes(Eyes::Closed), 90)(hop.dy(-4).legs(Legs::Tiptoe), 120)(
                hop.dy(-2), 90)(r_.bob(1).eyes(Eyes::Happy), 90)(hop.dy(-4).legs(Legs::Kick), 120)(
                hop.dy(-2), 90)(r_.bob(1).eyes(Eyes::Happy), 90)(happy, 200)(r_, 240));
            const P wind =
                r_.arms(Arm::Clap, Arm::Hold).prop(Prop::Watch).eyes(Eyes::Down).mouth(Mouth::Smile);
            add(seq("WindWatch")(wind.prop(Prop::Watch, 0), 140)(wind.prop(Prop::Watch, 1).left(Arm::Hold),
                                                                 140)(wind.prop(Prop::Watch, 2), 140)(
                wind.prop(Prop::Watch, 3).left(Arm::Hold),
                140)(wind.prop(Prop::Watch, 0).eyes(Eyes::Happy).fx(Fx::Shine), 400)(r_, 240));
            const P tap = r_.arms(Arm::Hip, Arm::Hip).eyes(Eyes::Half).mouth(Mouth::Flat);
            add(seq("TapFoot")(tap, 200)(tap.legs(Legs::StepRight), 120)(tap, 120)(
                tap.legs(Legs::StepRight), 120)(tap.fx(Fx::Dots, 3).look(1).eyes(Eyes::Right), 160)(
                tap.legs(Legs::StepRight).fx(Fx::Dots, 3), 120)(tap.fx(Fx::Dots, 3),
                                                                300)(r_.eyes(Eyes::Happy), 160)(r_, 240));
        }
    }

    const Figure& f_;
    const P r_;
    Choreography out_;
};

} // namespace

Choreography choreograph(const Figure& figure) {
    return Choreographer(figure).build();
}

const QStringList& loopingAnimations() {
    static const QStringList names{"Thinking",
                                   "Think",
                                   "Processing",
                                   "Writing",
                                   "Write",
                                   "Searching",
                                   "Search",
                                   "CheckingSchedule",
                                   "ReviewingRecords",
                                   "ReadingPolicy",
                                   "RecordingLeave",
                                   "CoordinatingCover",
                                   "Delegating",
                                   "WritingProposal",
                                   "SendMail",
                                   "DropNearby",
                                   "DropReady"};
    return names;
}
